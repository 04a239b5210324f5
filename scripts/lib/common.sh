# What the scripts of scripts/ share. Each begins with
#
#   source "$(dirname "${BASH_SOURCE[0]}")/lib/common.sh"
#
# which makes the root of the project the working directory. With --help among the
# arguments the script prints its opening comment and ends.
# shellcheck shell=bash
set -euo pipefail

# shellcheck disable=SC2034  # For scripts whose arguments are the caller's files.
called_from=$PWD
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
script=$(basename "$0")

for argument in "$@"; do
  if [[ $argument == --help || $argument == -h ]]; then
    awk 'NR > 1 { if (!/^#/) exit; sub(/^# ?/, ""); print }' "scripts/$script"
    exit 0
  fi
done

# Ends the script: the one line says what is wrong with its arguments.
wrong_use() {
  echo "$script: $1; see scripts/$script --help" >&2
  exit 2
}

# is_number TEXT LOWEST HIGHEST   whether the text is a number of these
is_number() {
  [[ $1 =~ ^[0-9]{1,9}$ ]] && ((10#$1 >= $2 && 10#$1 <= $3))
}

# no_arguments "$@"
no_arguments() {
  (($# == 0)) || wrong_use "takes no arguments"
}

# Ends the script: the one line says what failed.
fail() {
  echo "$script: $1" >&2
  exit 1
}

# quietly MESSAGE COMMAND...
#
# Runs the command, and shows what it printed only if it fails, with the message
# below. On a terminal the latest line of its output is shown while it runs.
quietly() {
  local message=$1 file log result=0
  shift
  file=$(mktemp)
  exec {log}<>"$file"
  rm "$file"  # It lives as long as the descriptor.
  if [[ -t 2 ]]; then
    "$@" 2>&1 | show_progress >&"$log" || result=$?
  else
    "$@" >&"$log" 2>&1 || result=$?
  fi
  if ((result != 0)); then
    cat "/dev/fd/$log" >&2
    fail "$message"
  fi
  exec {log}>&-
}

# in_parallel COUNT FUNCTION WORD...
#
# Calls the function with COUNT of the words, again and again, in as many processes as
# there are processors. Fails if one does, when all have ended. The function sees what is
# exported.
in_parallel() {
  local count=$1 function=$2
  shift 2
  # shellcheck disable=SC2046  # One name a word.
  export -f $(compgen -A function)
  export script
  printf '%s\n' "$@" |
    xargs -n "$count" -P "$(nproc)" bash -euo pipefail -c '"$@"' bash "$function"
}

# Copies its input, and shows each line in place of the one before on stderr.
show_progress() {
  local line width
  width=$(stty size <&2 2>/dev/null | cut -d ' ' -f 2)
  ((${width:-0} > 0)) || width=80
  while IFS= read -r line || [[ -n $line ]]; do
    printf '%s\n' "$line"
    line=${line%$'\r'}
    line=${line##*$'\r'}
    line=${line//[[:cntrl:]]/ }
    [[ -z $line ]] || printf '\r\e[K%s' "${line:0:width-1}" >&2
  done
  printf '\r\e[K' >&2
}
