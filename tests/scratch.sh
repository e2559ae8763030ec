#!/bin/sh
# scratch.sh make FOLDER: an empty FOLDER for the tests to work in, and as the place of their temporary files.
# scratch.sh check FOLDER: fails, naming what it found, when a test left a file, a mount or a process behind; then cleans up.
set -u
folder=$2

mounts() { awk -v below="$folder/" 'index($5 "/", below) == 1 { print $5 }' /proc/self/mountinfo; }

processes() {
  for environment in /proc/[0-9]*/environ; do
    pid=${environment#/proc/}
    pid=${pid%/environ}
    [ "$pid" = "$$" ] && continue
    tr '\0' '\n' <"$environment" 2>/dev/null | grep -qxF "TMPDIR=$folder" || continue
    echo "$pid $(tr '\0' ' ' <"/proc/$pid/cmdline" 2>/dev/null)"
  done
}

files() { find "$folder" -xdev -mindepth 1 2>/dev/null; }

clear_away() {
  processes | while read -r pid _; do kill -KILL "$pid" 2>/dev/null; done
  mounts | sort -r | while read -r mount; do umount -l "$(printf '%b' "$mount")" 2>/dev/null || fusermount3 -uz "$(printf '%b' "$mount")"; done
  find "$folder" -xdev -type d ! -perm -700 -exec chmod u+rwx {} + 2>/dev/null
  rm -rf --one-file-system "$folder"
}

case "$1" in
  make)
    clear_away
    mkdir -p "$folder" ;;
  check)
    left=$(mounts | sed 's/^/mount /'; processes | sed 's/^/process /'; files | sed 's/^/file /')
    clear_away
    [ -z "$left" ] && exit 0
    echo "The tests left this behind:"
    echo "$left" | head -n 40
    exit 1 ;;
esac
