#!/bin/sh
# ./run without arguments: the whole job on a sample folder in a temporary place that is gone afterwards. Each step is checked.
set -eu
tavrine=$1
place=$(mktemp -d)
export TAVRINE_SUPPORT_DIR="$place/records" XDG_STATE_HOME="$place/state" XDG_CACHE_HOME="$place/cache"
end() {
  # Removed only when nothing is attached there any more.
  "$tavrine" lock-now --all --force --quiet && rm -rf --one-file-system "$place"
}
trap end EXIT
trap 'exit 130' INT TERM HUP

cd "$place"
mkdir -p Taxes/2025 Taxes/empty
echo "income 42" >Taxes/2025/sums
head -c 3000000 /dev/urandom >Taxes/2025/scan
ln -s 2025/sums Taxes/latest
chmod 640 Taxes/2025/sums
touch -d 2025-03-01 Taxes/2025/sums
cp -a Taxes before
echo "a password for the tour" >password
chmod 600 password

show() {
  printf '\n$ tavrine'
  printf ' %s' "$@"
  printf '\n'
  "$tavrine" "$@"
}

# What a tree is: names, kinds, modes, owners, times of its files, and contents.
tree() {
  (cd "$1" && find . -printf '%p %y %m %U %G %l\n' | sort && find . -type f -exec sha256sum {} + | sort &&
    find . -type f -printf '%p %T@\n' | sort)
}

check() {
  if eval "$2"; then
    echo "  ✓ $1"
  else
    echo "  ✗ $1" >&2
    exit 1
  fi
}

tree before >expected
echo "A folder with private files, in $place:"
find Taxes | sort
show lock --password-file password Taxes
check "the folder is gone, an encrypted image is in its place" '[ ! -e Taxes ] && [ -d Taxes.tavrlock ]'
check "nothing in the image can be read" '! grep -rq "income 42" Taxes.tavrlock'
show list
show unlock --password-file password Taxes.tavrlock
contents=$("$tavrine" reveal Taxes.tavrlock)
check "its contents can be read" '[ "$(cat "$contents/latest")" = "income 42" ]'
show lock-now Taxes.tavrlock
check "they cannot be read any more" '[ ! -e "$contents/latest" ]'
show remove-lock --password-file password Taxes.tavrlock
tree Taxes >restored
check "the folder is back as it was: contents, links, modes, owners, times" 'cmp -s expected restored'
check "nothing else is left" '[ ! -e Taxes.tavrlock ] && [ -z "$("$tavrine" list)" ]'
