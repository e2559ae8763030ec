#!/bin/sh
# bench/verify.sh [-t TURNS] [VERIFY_TREES]: our comparison of two trees beside `sha256sum` of both and `diff -r`, in TMPDIR: 20,000
# small files, one file of 512 MiB. Medians of TURNS (3) alternating turns, the page cache warm; above 1.00 ours is the faster one.
# VERIFY_TREES is made by `cmake --build --preset release --target verify_trees`.
set -eu
turns=3
while getopts t: option; do
  case $option in t) turns=$OPTARG ;; *) exit 2 ;; esac
done
shift $((OPTIND - 1))
verify=$(realpath "${1:-$(dirname -- "$0")/../build/release/bench/verify_trees}")
work=$(mktemp -d "${TMPDIR:-/tmp}/bench-verify.XXXXXX")
trap 'rm -rf --one-file-system "$work"' EXIT
trap 'exit 130' INT TERM HUP

sums() { (cd "$1" && find . -type f -print0 | sort -z | xargs -0 sha256sum); }
by_sums() { sums "$1" >"$work/sums.1" && sums "$2" >"$work/sums.2" && cmp "$work/sums.1" "$work/sums.2"; }

# seconds COMMAND…: fails where the command does.
seconds() {
  start=$(date +%s%N)
  "$@" >"$work/output"
  echo "$start $(date +%s%N)" | awk '{ printf "%.3f", ($2 - $1) / 1e9 }'
}

mkdir -p "$work/small-files" "$work/large-file"
head -c 536870912 /dev/urandom >"$work/large-file/data"
(cd "$work/small-files" && seq -f 'd%03.0f' 0 199 | xargs mkdir &&
  seq 0 19999 | awk '{ printf "d%03d/%d\n", $1 / 100, $1 }' | while read -r name; do echo "$name of a small file" >"$name"; done)

for tree in small-files large-file; do
  cp -a "$work/$tree" "$work/$tree.copy"
  turn=0
  while [ $turn -lt "$turns" ]; do
    ours=$(seconds "$verify" "$work/$tree" "$work/$tree.copy")
    memory=$(sed 's/.*, //' "$work/output")
    hand=$(seconds by_sums "$work/$tree" "$work/$tree.copy")
    echo "$ours $hand $(seconds diff -r "$work/$tree" "$work/$tree.copy") $memory"
    turn=$((turn + 1))
  done >"$work/turns"
  median() { sort -n -k "$1,$1" "$work/turns" | awk -v column="$1" '{ all[NR] = $column } END { print all[int((NR + 1) / 2)] }'; }
  echo "$(median 1) $(median 2) $(median 3) $(median 4)" | awk -v tree="$tree" '
    { printf "%-12s ours %.3f s  sha256sum/ours %.2f  diff/ours %.2f  memory %.1f MiB\n", tree, $1, $2 / $1, $3 / $1, $4 / 1024 }'
done
