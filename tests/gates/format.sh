#!/bin/sh
# format.sh FOLDER: fails, naming them, when C++ files below FOLDER are not as clang-format makes them. Exit 77 (skipped) without it.
set -eu
cd "$1"
command -v clang-format >/dev/null || { echo "skipped: clang-format is not installed"; exit 77; }
find app bench finder fuzz kit platform tests \( -name '*.h' -o -name '*.cpp' \) -print0 | xargs -0 clang-format --dry-run -Werror
