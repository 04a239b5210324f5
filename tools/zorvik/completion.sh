# shellcheck shell=bash
# Completion for bash. Subcommands and options come from the program's own help.
_zorvik() {
  local word=$2 before=$3 each all help path=()
  COMPREPLY=()
  for each in "" "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    # The first word stands for the program itself.
    if [[ $each ]]; then
      [[ $'\n'$all$'\n' == *$'\n'$each$'\n'* ]] || continue
      path+=("$each")
    fi
    help=$("$1" "${path[@]}" --help)
    all=$(sed -n '/^Subcommands:/,/^$/s/^  \([a-z]\{1,\}\) .*/\1/p' <<<"$help")
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
    mapfile -t COMPREPLY < <(compgen -W "$(
      sed -n 's/^  \(-.,\)\{0,1\}\(--[a-z-]*\).*/\2/p' <<<"$help")" -- "$word")
  elif [[ $all ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$all" -- "$word")
  elif [[ ${path[*]} != ids ]]; then
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
  fi
}
complete -o filenames -F _zorvik zorvik
