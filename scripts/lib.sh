# What the scripts share. Sourced, never run: it stops at the first failure and moves to the checkout's root.
# shellcheck shell=bash
set -euo pipefail
shopt -s inherit_errexit
cd "$(dirname "${BASH_SOURCE[0]}")/.."
root=$PWD
jobs=$(nproc)
export root jobs

say() { printf '%s\n' "$*" >&2; }
die() { say "$*"; exit 1; }

# usage: prints the comment at the top of the script that is running.
usage() { sed -n '2,/^[^#]/{ s/^# \{0,1\}//p; }' "$0"; }

# configure PRESET [CMAKE-ARGUMENT...]: quiet unless it fails.
configure() {
  local preset=$1 log
  shift
  mkdir -p build
  log=build/configure-$preset.log
  cmake --preset "$preset" "$@" >"$log" 2>&1 || { cat "$log" >&2; die "could not configure $preset"; }
}

# build PRESET [CMAKE-ARGUMENT...]
build() { cmake --build --preset "$1" --parallel "$jobs" "${@:2}"; }

# exported_symbols LIBRARY: its soname, and what it defines for others to be linked with. What a compiler makes anew in
# each program that uses it, such as the instances of templates, is none of that.
exported_symbols() {
  readelf --dynamic "$1" | sed -n 's/.*SONAME.*\[\(.*\)\]/\1/p'
  nm --dynamic --defined-only --demangle --format=posix "$1" |
    sed -nE 's/ [TDBR] [0-9a-f]+( [0-9a-f]+)?$//p' | LC_ALL=C sort -u
}
