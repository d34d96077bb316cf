# bash completion for quillpost-forward: options come from the program's own help, which says what
# each of them is.

_quillpost_forward() {
  local current="${COMP_WORDS[COMP_CWORD]}" previous="${COMP_WORDS[COMP_CWORD - 1]}"
  COMPREPLY=()
  case "$previous" in
    --log-level) mapfile -t COMPREPLY < <(compgen -W "1 2 3 4" -- "$current"); return ;;
    --replicas) mapfile -t COMPREPLY < <(compgen -W "1 3 5" -- "$current"); return ;;
    --to) mapfile -t COMPREPLY < <(compgen -W "nats:// tls://" -- "$current"); return ;;
    --application | --stream | --max-age | --max-size | --duplicate-window | --tls-name) return ;;
    --creds | --login | --tls-ca | --tls-cert | --tls-key | --config | --log-file)
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$("${COMP_WORDS[0]}" --help 2>/dev/null |
    sed -n 's/^  \(-[a-zA-Z],\)\{0,1\}\(--[a-z-]*\).*/\2/p')" -- "$current")
}

complete -o filenames -F _quillpost_forward quillpost-forward
