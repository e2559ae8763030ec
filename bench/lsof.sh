#!/bin/sh
# bench/lsof.sh [BUILD] [FILES]: our lister and Debian's, side by side, on an empty tree and on one of FILES files (100,000),
# each with one file held open. Prints milliseconds per run, the ratio of the two listers and what the files cost each.
set -eu
ours=$(CDPATH='' cd -- "$(dirname -- "$0")/.." && pwd)/${1:-build/release}/libexec/tavrine/lsof
theirs=/usr/bin/lsof
files=${2:-100000}
rounds=10
for program in "$ours" "$theirs"; do
  [ -x "$program" ] || { echo "bench/lsof.sh: $program is not here" >&2; exit 1; }
done

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
trap 'exit 130' INT TERM
mkdir "$folder/empty" "$folder/full"
seq "$files" | awk -v folder="$folder/full" '{ print folder "/" int($1 / 1000) "/" $1 }' >"$folder/names"
xargs -n 1000 dirname <"$folder/names" | sort -u | xargs mkdir -p
xargs touch <"$folder/names"
exec 8>"$folder/empty/held" 9>"$folder/full/held"

# milliseconds PROGRAM TREE: one run, the mean of several; fails where the held file is not found.
milliseconds() {
  "$1" -F pcfa +D "$2" 2>/dev/null | grep -qx "p$$" || { echo "bench/lsof.sh: $1 does not find the open file" >&2; exit 1; }
  start=$(date +%s%N)
  for _ in $(seq "$rounds"); do "$1" -F pcfa +D "$2" >/dev/null 2>&1 || true; done
  echo "$start $(date +%s%N) $rounds" | awk '{ printf "%.1f", ($2 - $1) / $3 / 1e6 }'
}

ours_empty=$(milliseconds "$ours" "$folder/empty")
ours_full=$(milliseconds "$ours" "$folder/full")
theirs_empty=$(milliseconds "$theirs" "$folder/empty")
theirs_full=$(milliseconds "$theirs" "$folder/full")
echo "$ours_empty $ours_full $theirs_empty $theirs_full $files" | awk '{
  printf "%-22s %12s %12s %8s\n", "", "ours", "Debian lsof", "ratio"
  printf "%-22s %9.1f ms %9.1f ms %7.1fx\n", "empty tree", $1, $3, $3 / $1
  printf "%-22s %9.1f ms %9.1f ms %7.1fx\n", $5 " files", $2, $4, $4 / $2
  printf "%-22s %11.2fx %11.2fx\n", "files against empty", $2 / $1, $4 / $3
}'
