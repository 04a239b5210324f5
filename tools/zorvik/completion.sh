# shellcheck shell=bash
# Completion for bash. Subcommands and options come from the program's own help.
_zorvik() {
  local word=$2 before=$3 subcommand="" each all
  COMPREPLY=()
  all=$("$1" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]\{1,\}\) .*/\1/p')
  for each in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    [[ $'\n'$all$'\n' != *$'\n'$each$'\n'* ]] || { subcommand=$each && break; }
  done
  case $before in
    -t | --type)
      mapfile -t COMPREPLY < <(compgen -W "$("$1" decode --list | sed 's/.*\.//')" -- "$word")
      return
      ;;
    --topic)
      mapfile -t COMPREPLY < <(compgen -W "$("$1" ids --json CHANNEL_TOPIC_TYPE |
        sed -n 's/^{"kind":"topic type","name":"[^"]*CHANNEL_TOPIC_TYPE_\([^"]*\)".*/\1/p')" -- "$word")
      return
      ;;
  esac
  if [[ $word == -* ]]; then
    # shellcheck disable=SC2086  # No word where there is no subcommand.
    mapfile -t COMPREPLY < <(compgen -W "$("$1" $subcommand --help |
      sed -n 's/^  \(-.,\)\{0,1\}\(--[a-z-]*\).*/\2/p')" -- "$word")
  elif [[ -z $subcommand ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$all" -- "$word")
  elif [[ $subcommand != ids ]]; then
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
  fi
}
complete -o filenames -F _zorvik zorvik
