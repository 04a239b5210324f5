# What the tests of the scripts share. It makes the root of the project the working
# directory, and a folder $work, with a copy of scripts/lib and the programs of
# $work/bin in front of all others.
# shellcheck shell=bash
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work"/{scripts,bin}
cp -r scripts/lib "$work/scripts"

fail() {
  echo "$(basename "$0"): $1" >&2
  exit 1
}

# expect STATUS PATTERN COMMAND...   its status, and all that it says
expect() {
  local status=0 output
  output=$(PATH=$work/bin:$PATH "${@:3}" 2>&1 </dev/null) || status=$?
  # shellcheck disable=SC2053  # It is a pattern.
  if ((status != $1)) || [[ ${output%$'\r'} != $2 ]]; then
    fail "${*:3} gives status $status and says $(printf '%q' "$output")"
  fi
}

# stand_in FILE COMMANDS   a program below $work that does as the shell says
stand_in() {
  mkdir -p "$(dirname "$work/$1")"
  printf '#!/bin/sh\n%s\n' "$2" >"$work/$1"
  chmod +x "$work/$1"
}
