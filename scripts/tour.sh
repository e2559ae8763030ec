#!/bin/sh
# ./run without arguments: what Tavrine does so far, on a sample in a temporary place that is gone afterwards.
set -eu
tavrine=$1
sample=$(mktemp -d)
trap 'rm -rf "$sample"' EXIT
mkdir "$sample/Taxes" "$sample/Letters.tavrlock"

show() {
  printf '\n$ tavrine'
  printf ' %s' "$@"
  printf '\n'
  "$tavrine" "$@"
}

echo "What the file manager offers for a folder, and for a locked item:"
cd "$sample"
show menu Taxes
show menu Letters.tavrlock
