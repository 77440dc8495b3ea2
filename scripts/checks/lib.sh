# What the checkers share. Sourced, never run: afterwards `tree` is the directory to look at, and the current
# directory is the checkout's root.
# shellcheck shell=bash disable=SC2016
tree=$(realpath "${1:-$(dirname "${BASH_SOURCE[0]}")/../..}")
source "$(dirname "${BASH_SOURCE[0]}")/../lib.sh"

# files PATTERN...: prints the tree's files that git tracks or would, by their paths from the tree; faulty samples
# only when one of them is the tree.
files() {
  git -C "$tree" -c safe.directory='*' ls-files --cached --others --exclude-standard --deduplicate -- "$@" |
    except '^tests/checkers/'
}

# except REGEX: passes on the lines that do not match. An exclude among git's own patterns can drop all files unasked.
except() { grep -vE "$1" || true; }

# in_parallel COMMAND...: runs it once for each line of standard input, which becomes its last argument; an exported
# function is a command too. What one run prints stays together. Fails with 1 if any run failed, and if there is nothing
# to run it on: a checker that looks at nothing must not pass.
in_parallel() {
  local lines
  lines=$(cat)
  [[ -n $lines ]] || { echo 'there is nothing to look at'; return 1; }
  xargs -d '\n' -n 1 -P "$jobs" bash -c 'print_if_it_fails "$@"' - "$@" <<<"$lines" || return 1
}

print_if_it_fails() {
  local output
  output=$("$@" 2>&1) || { printf '%s\n' "$output"; return 1; }
}
export -f print_if_it_fails

[[ -n $(files '*') ]] || die "git lists no files in $tree"
