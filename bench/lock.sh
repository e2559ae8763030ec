#!/bin/sh
# bench/lock.sh [-t TURNS] [-w "W1 W2 W3"] [-m] [-o FILE] [TAVRINE]: locking, unlocking, locking again and removing the lock beside
# a careful user's way by hand with gocryptfs, in TMPDIR. The sides alternate for TURNS (3) turns, each run in a folder of its own;
# the table shows medians, FILE gets every single time as lines of JSON (else they follow the table).
#
#   W1   20,000 files from /usr            by hand   gocryptfs -init, mount, cp -a, sync, unmount, mount read-only, sha256sum of
#   W2   one file of 2 GiB of random data            both sides compared, unmount, rm -rf
#   W3   2,000 files, 1 GiB in all, sizes  diff      the same with diff -r in place of the two sha256sum
#        spread from 4 KiB to 50 MiB       7z        7z a -mhe=on -mx0, 7z t, rm -rf (where 7z is installed)
#   N…   so many files of 1 KiB (N1000, N200000): the cost of a file in small and large trees
#
# -m also watches, in one further lock of each, the memory of our processes, from the first tool they start and without the image's server.
set -eu
turns=3 workloads="W1 W2 W3" raw='' memory=no
while getopts t:w:mo: option; do
  case $option in
    t) turns=$OPTARG ;; w) workloads=$OPTARG ;; m) memory=yes ;; o) raw=$(realpath "$OPTARG") ;; *) exit 2 ;;
  esac
done
shift $((OPTIND - 1))
tavrine=$(realpath "${1:-$(dirname -- "$0")/../build/release/bin/tavrine}")
for tool in "$tavrine" gocryptfs fusermount3; do
  command -v "$tool" >/dev/null || { echo "bench/lock.sh: $tool is not here" >&2; exit 1; }
done
sides="ours hand diff"
if command -v 7z >/dev/null; then sides="$sides 7z"; fi

work=$(mktemp -d "${TMPDIR:-/tmp}/bench-lock.XXXXXX")
ours() { command=$1 && shift && "$tavrine" "$command" --quiet --yes --password-file "$work/password" --support-dir "$work/support" "$@"; }
clean_up() {
  fusermount3 -u "$work/mounted" 2>/dev/null || true
  ours lock-now --all --force >/dev/null 2>&1 || true
  rm -rf --one-file-system "$work"
}
trap clean_up EXIT
trap 'exit 130' INT TERM HUP
mkdir -m 700 "$work/support" "$work/mounted"
(umask 077 && echo 'Long-enough benchmark pass phrase 7' >"$work/password")

# make_tree WORKLOAD FOLDER
make_tree() {
  mkdir "$2"
  case $1 in
    W1)
      (cd / && find usr -xdev -type f -size -230k -readable 2>/dev/null | sort) >"$work/names"
      pass=0
      while lacking=$((20000 - $(find "$2" -type f | wc -l))) && [ "$lacking" -gt 0 ]; do
        pass=$((pass + 1)) && mkdir "$2/$pass"
        awk -v all="$(wc -l <"$work/names")" -v wanted="$lacking" \
          'wanted >= all || int(NR * wanted / all) > int((NR - 1) * wanted / all)' "$work/names" |
          tar -C / -cf - --hard-dereference -T - | tar -C "$2/$pass" -xf - --no-same-owner
      done ;;
    W2) head -c 2147483648 /dev/urandom >"$2/data" ;;
    W3)
      # Sizes between the two ends, evenly spaced in their logarithm but for an exponent that makes the sum 1 GiB.
      awk 'function size(i, p) { return int(4096 * exp(log(12800) * ((i + 0.5) / 2000) ^ p)) }
        BEGIN {
          for (low = 1; high - low > 1e-9 || !high; total > 1073741824 ? low = p : high = p) {
            if (!high) high = 50
            p = (low + high) / 2
            for (total = i = 0; i < 2000; i++) total += size(i, p)
          }
          for (i = 0; i < 2000; i++) print i, size(i, p)
        }' >"$work/sizes"
      head -c 1200000000 /dev/urandom >"$work/random"
      while read -r name size; do head -c "$size" >"$2/$name" <&3 || exit 1; done <"$work/sizes" 3<"$work/random"
      rm "$work/random" ;;
    N*)
      head -c "${1#N}k" /dev/urandom >"$work/random"
      (cd "$2" && split -b 1024 -a 6 "$work/random")
      rm "$work/random" ;;
    *) echo "bench/lock.sh: no workload $1" >&2 && exit 2 ;;
  esac
}

sums() { (cd "$1" && find . -type f -print0 | sort -z | xargs -0 sha256sum); }
same_by_sums() { sums "$1" >"$work/sums.1" && sums "$2" >"$work/sums.2" && cmp "$work/sums.1" "$work/sums.2"; }
same_by_diff() { diff -r "$1" "$2"; }
mount_hand() { gocryptfs -q -passfile "$work/password" "$@" "$run/cipher" "$work/mounted"; }
unmount_hand() { fusermount3 -u "$work/mounted"; }
the_item() { find "$run" -mindepth 1 -maxdepth 1; }

lock_by() {
  mkdir "$run/cipher" && gocryptfs -q -init -passfile "$work/password" "$run/cipher" && mount_hand &&
    cp -a "$run/item" "$work/mounted/" && sync && unmount_hand &&
    mount_hand -ro && "$1" "$run/item" "$work/mounted/item" && unmount_hand && rm -rf "$run/item"
}
lock_hand() { lock_by same_by_sums; }
unlock_hand() { mount_hand; }
lock_now_hand() { unmount_hand && sync; }
remove_lock_hand() {
  mount_hand -ro && cp -a "$work/mounted/item" "$run/" && sync && same_by_sums "$work/mounted/item" "$run/item" &&
    unmount_hand && rm -rf "$run/cipher"
}
lock_diff() { lock_by same_by_diff; }
lock_7z() {
  (cd "$run" && 7z a -p"$(cat "$work/password")" -mhe=on -mx0 item.7z item >/dev/null) &&
    7z t -p"$(cat "$work/password")" "$run/item.7z" >/dev/null && rm -rf "$run/item"
}
lock_ours() { ours lock "$run/item"; }
unlock_ours() { ours unlock "$(the_item)"; }
lock_now_ours() { ours lock-now "$(the_item)"; }
remove_lock_ours() { ours remove-lock "$(the_item)"; }

# measure WORKLOAD TURN SIDE OPERATION: one line of JSON.
measure() {
  start=$(date +%s%N)
  "$4_$3" >"$work/output" 2>&1 || { echo "bench/lock.sh: $4 ($3, $1) failed:" >&2 && tail -n 5 "$work/output" >&2 && exit 1; }
  echo "$start $(date +%s%N)" | awk -v head="\"workload\": \"$1\", \"turn\": $2, \"side\": \"$3\", \"operation\": \"$4\"" \
    '{ printf "{%s, \"seconds\": %.3f}\n", head, ($2 - $1) / 1e9 }' >>"$work/raw"
}

# fresh_run NAME: a copy of the item in a folder of its own, on disk.
fresh_run() {
  run=$work/$1 && mkdir "$run" && cp -a "$work/tree" "$run/item" && sync
}

# run_side WORKLOAD TURN SIDE
run_side() {
  fresh_run "$1.$2.$3"
  measure "$1" "$2" "$3" lock
  case $3 in ours | hand)
    for operation in unlock lock_now remove_lock; do measure "$1" "$2" "$3" $operation; done
    diff -r "$work/tree" "$run/item" >/dev/null || { echo "bench/lock.sh: $3 gave another tree back" >&2 && exit 1; } ;;
  esac
  rm -rf --one-file-system "$run" && sync
}

# watch_memory WORKLOAD: the largest sum of resident memory (what processes share counts in each of them).
watch_memory() {
  fresh_run "$1.memory"
  ours lock "$run/item" >/dev/null 2>&1 &
  top=$!
  while kill -0 $top 2>/dev/null; do
    ps -e -o pid=,ppid=,rss=,comm= | awk -v top=$top '
      { parent[$1] = $2; memory[$1] = $3; name[$1] = $4 }
      END {
        for (pid in parent) {
          for (above = pid; above != top && above in parent; above = parent[above]) continue
          if (above == top) { sum += name[pid] == "gocryptfs" ? 0 : memory[pid]; count++ }
        }
        if (count > 1) print sum
      }'
    sleep 0.05
  done | sort -n | tail -n 1 | awk -v workload="$1" '{ printf "%-10s %-12s %.1f MiB\n", workload, "memory", $1 / 1024 }'
  wait $top || { echo "bench/lock.sh: the watched lock of $1 failed" >&2 && exit 1; }
  ours remove-lock "$(the_item)" >/dev/null && rm -rf --one-file-system "$run" && sync
}

: >"$work/raw"
for workload in $workloads; do
  make_tree "$workload" "$work/tree"
  echo "$workload: $(find "$work/tree" -type f | wc -l) files, $(du -sm --apparent-size "$work/tree" | cut -f 1) MiB"
  turn=1
  while [ $turn -le "$turns" ]; do
    for side in $sides; do run_side "$workload" $turn "$side"; done
    sides="${sides#* } ${sides%% *}"  # another one begins the next turn
    turn=$((turn + 1))
  done
  if [ $memory = yes ]; then watch_memory "$workload"; fi
  rm -rf --one-file-system "$work/tree"
done

tr -d '",:{}' <"$work/raw" | awk '{ print $2, $8, $6, $10 }' | sort -k 1,3 -k 4n | awk '
  function finish() { if (key != "") median[key] = times[int((count + 1) / 2)] }
  { now = $1 " " $2 " " $3; if (now != key) { finish(); key = now; count = 0 }; times[++count] = $4; rows[$1 " " $2] = 1 }
  END {
    finish()
    printf "%-10s %-12s %9s %9s %10s %10s %10s\n", "workload", "operation", "ours", "by hand", "hand/ours", "diff/ours", "7z/ours"
    for (row in rows) {
      split(row, part, " ")
      mine = median[row " ours"] + 0.0005
      line = sprintf("%-10s %-12s %7.2f s %7.2f s %10.2f", part[1], part[2], mine, median[row " hand"], median[row " hand"] / mine)
      for (side = 1; side <= 2; side++) {
        other = row (side == 1 ? " diff" : " 7z")
        line = line (other in median ? sprintf(" %10.2f", median[other] / mine) : sprintf(" %10s", "-"))
      }
      print line | "sort"
    }
  }'
if [ -n "$raw" ]; then cp "$work/raw" "$raw"; else cat "$work/raw"; fi
