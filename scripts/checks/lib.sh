# What the checkers share. Sourced, never run: afterwards `tree` is the directory to look at, and the current
# directory is the checkout's root.
# shellcheck shell=bash disable=SC2016
tree=$(realpath "${1:-$(dirname "${BASH_SOURCE[0]}")/../..}")
source "$(dirname "${BASH_SOURCE[0]}")/../lib.sh"

# files PATTERN...: prints the tree's files that git tracks or would, by their paths from the tree; faulty samples
# only when one of them is the tree.
files() {
  git -C "$tree" -c safe.directory='*' ls-files --cached --others --exclude-standard --deduplicate -- \
    "$@" ':(exclude)tests/checkers'
}

# in_parallel COMMAND...: runs it once for each line of standard input, which becomes its last argument; an exported
# function is a command too. What one run prints stays together. Fails with 1 if any run failed.
in_parallel() {
  xargs -r -d '\n' -n 1 -P "$jobs" bash -c 'print_if_it_fails "$@"' - "$@" || return 1
}

print_if_it_fails() {
  local output
  output=$("$@" 2>&1) || { printf '%s\n' "$output"; return 1; }
}
export -f print_if_it_fails

[[ -n $(files '*') ]] || die "git lists no files in $tree"
