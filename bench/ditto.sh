#!/bin/sh
# bench/ditto.sh DITTO [FOLDER]: DITTO beside `cp -a` and `rsync -a` on the same trees in one run, in FOLDER (else TMPDIR).
# Prints the best of three turns and the ratios; below 1.00 DITTO is the faster one. Where gocryptfs and /dev/fuse can be used,
# once more into an encrypted folder, which is where Tavrine copies to.
set -eu
ditto=$(realpath "$1")
work=$(mktemp -d "${2:-${TMPDIR:-/tmp}}/bench-ditto.XXXXXX")
trap 'exit 1' INT TERM HUP
trap 'fusermount3 -uz "$work/encrypted" 2>/dev/null || true; rm -rf --one-file-system "$work"' EXIT

# nanoseconds COMMAND…
nanoseconds() {
  sync
  start=$(date +%s%N)
  "$@" >/dev/null
  echo $(($(date +%s%N) - start))
}

# compare TREE TARGET: all three in turn, each into a fresh place. Nothing is removed in between: a file system may be slow to give
# out what has just been freed, and only the first would not feel it.
compare() {
  for turn in 1 2 3; do
    echo "$(nanoseconds "$ditto" "$work/$1" "$work/$2/ditto.$turn")" \
      "$(nanoseconds cp -a "$work/$1" "$work/$2/cp.$turn")" \
      "$(nanoseconds rsync -a "$work/$1/" "$work/$2/rsync.$turn")"
  done | awk -v tree="$1" -v target="$2" '
    function least(one, other) { return one == 0 || other < one ? other : one }
    { ditto = least(ditto, $1); cp = least(cp, $2); rsync = least(rsync, $3) }
    END { printf "%-12s %-10s ditto %.3f s  ditto/cp %.2f  ditto/rsync %.2f\n", tree, target, ditto / 1e9, ditto / cp, ditto / rsync }'
  rm -rf "$work/$2"/*
}

# 4,000 files of 3 KB in 200 folders; one file of 256 MiB; a file with a hole of 4 GiB.
mkdir "$work/small-files" "$work/large-file" "$work/hole" "$work/plain" "$work/cipher" "$work/encrypted"
folder=0
while [ $folder -lt 200 ]; do
  mkdir "$work/small-files/$folder"
  (cd "$work/small-files/$folder" && head -c 61440 /dev/urandom | split -b 3072 -a 1)
  folder=$((folder + 1))
done
head -c 268435456 /dev/urandom >"$work/large-file/data"
truncate -s 4G "$work/hole/data"
echo end >>"$work/hole/data"

for tree in small-files large-file hole; do compare $tree plain; done

echo benchmark >"$work/password"
if gocryptfs -q -init -scryptn 10 -passfile "$work/password" "$work/cipher" >/dev/null 2>&1 &&
  gocryptfs -q -passfile "$work/password" "$work/cipher" "$work/encrypted" >/dev/null 2>&1; then
  for tree in small-files large-file; do compare $tree encrypted; done
else
  echo "no encrypted target: gocryptfs or /dev/fuse cannot be used here"
fi
