# shellcheck shell=sh
# Sourced by ./run and ./test: brings a Debian 12 machine to where it can build Tavrine.
# The packages are named in scripts/packages/, one file per purpose.

missing_packages() {
  sed 's/#.*//' "$@" | tr -s '[:space:]' '\n' | while read -r package; do
    [ -n "$package" ] || continue
    status=$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null || true)
    [ "$status" = installed ] || printf '%s ' "$package"
  done
}

# set_up LIST…: installs what the package lists name and this machine lacks, or says how to.
set_up() {
  missing=$(missing_packages "$@")
  [ -n "$missing" ] || return 0
  if ! command -v apt-get >/dev/null 2>&1; then
    echo "Tavrine needs these Debian packages, and apt-get is not here to install them: $missing" >&2
    exit 1
  fi
  if [ "$(id -u)" -eq 0 ]; then
    as_root=""
  elif command -v sudo >/dev/null 2>&1; then
    as_root="sudo"
  else
    say_how_to_install
  fi
  echo "Installing missing packages: $missing"
  # shellcheck disable=SC2086  # both are word lists
  $as_root apt-get update -qq &&
    $as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $missing >/dev/null ||
    say_how_to_install
}

say_how_to_install() {
  echo "Some packages are missing. As root, run this once, then try again:" >&2
  echo "  apt-get update && apt-get install -y --no-install-recommends $missing" >&2
  exit 1
}

# build PRESET TARGET…: configures build/PRESET, saying nothing while all is well, and builds the targets there.
build() {
  log=$(mktemp)
  if cmake --preset "$1" >"$log" 2>&1; then
    rm -f "$log"
  else
    cat "$log" >&2
    rm -f "$log"
    exit 1
  fi
  preset_built=$1
  shift
  cmake --build --preset "$preset_built" --target "$@"
}
