# bash completion for quillpost-inbox: options come from the program's own help, which says what each
# of them is.

_quillpost_inbox_options() {
  "${@}" --help 2>/dev/null | sed -n 's/^  \(-[a-zA-Z],\)\{0,1\}\(--[a-z-]*\).*/\2/p'
}

_quillpost_inbox() {
  local current="${COMP_WORDS[COMP_CWORD]}" previous="${COMP_WORDS[COMP_CWORD - 1]}"
  local program="${COMP_WORDS[0]}" command="${COMP_WORDS[1]:-}"
  COMPREPLY=()
  case "$previous" in
    --to) mapfile -t COMPREPLY < <(compgen -W "pdf png svg inkml xopp stf2" -- "$current"); return ;;
    --log-level) mapfile -t COMPREPLY < <(compgen -W "1 2 3 4" -- "$current"); return ;;
    --from) mapfile -t COMPREPLY < <(compgen -W "nats:// tls://" -- "$current"); return ;;
    --port | --page | --consumer | --filter | --stream | --tls-name) return ;;
    --key | --creds | --login | --tls-ca | --tls-cert | --tls-key | --log-file | -o | --output)
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return ;;
  esac
  if [ "$COMP_CWORD" -eq 1 ]; then
    mapfile -t COMPREPLY < <(compgen -W "show import export backup $(_quillpost_inbox_options "$program")" \
      -- "$current")
  elif [[ "$current" == -* ]]; then
    case "$command" in
      show | import | export | backup) ;;
      *) command= ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W \
      "$(_quillpost_inbox_options "$program" ${command:+"$command"})" -- "$current")
  else
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
  fi
}

complete -o filenames -F _quillpost_inbox quillpost-inbox
