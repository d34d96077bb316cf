# bash completion for quillpost and quillpostd

_quillpost_subscribed() {
  local directory="${QUILLPOST_ROOT:-}/Library/Preferences/Talvo/Quillpost/Subscriptions"
  [ -d "$directory" ] && command ls -- "$directory"
}

_quillpost_words() {
  mapfile -t COMPREPLY < <(compgen -W "$1" -- "$2")
}

_quillpost() {
  local current="${COMP_WORDS[COMP_CWORD]}" previous="${COMP_WORDS[COMP_CWORD - 1]}"
  local command="${COMP_WORDS[1]:-}" action="${COMP_WORDS[2]:-}"
  COMPREPLY=()
  if [ "$COMP_CWORD" -eq 1 ]; then
    _quillpost_words "hello import watch listen status subscriptions help --help --version" "$current"
    return
  fi
  case "$previous" in
    --save) mapfile -t COMPREPLY < <(compgen -d -- "$current"); return ;;
    --path) mapfile -t COMPREPLY < <(compgen -f -- "$current"); return ;;
    --count | --idle | --wait | --exec | --ignore | --title | --page | --pen) return ;;
  esac
  case "$command $action" in
    import*)
      mapfile -t COMPREPLY < <(compgen -f -W "--wait --dry-run --convert --page --pen --json --help" -- "$current") ;;
    watch*)
      mapfile -t COMPREPLY < <(compgen -d -W "--once --page --pen --json --help" -- "$current") ;;
    listen*)
      if [ "$COMP_CWORD" -eq 2 ] && [[ "$current" != -* ]]; then
        local IFS=$'\n'
        _quillpost_words "$(_quillpost_subscribed)" "$current"
      else
        _quillpost_words "--save --peek --exec --reject --ignore --count --idle --json --help" "$current"
      fi ;;
    help*)
      [ "$COMP_CWORD" -gt 2 ] || _quillpost_words "hello import watch listen status subscriptions" "$current" ;;
    hello*)
      _quillpost_words "--json --help" "$current" ;;
    status*)
      _quillpost_words "--watch --json --help" "$current" ;;
    subscriptions*)
      if [ "$COMP_CWORD" -eq 2 ]; then
        _quillpost_words "list check add remove --help" "$current"
      elif [ "$action" = check ]; then
        mapfile -t COMPREPLY < <(compgen -f -W "--json --help" -- "$current")
      elif [ "$action" = add ]; then
        _quillpost_words "--path --title --page --replace --force --json --help" "$current"
      elif [ "$action" = remove ] && [[ "$current" != -* ]]; then
        local IFS=$'\n'
        _quillpost_words "$(_quillpost_subscribed)" "$current"
      else
        _quillpost_words "--json --help" "$current"
      fi ;;
  esac
}

_quillpostd() {
  local current="${COMP_WORDS[COMP_CWORD]}" previous="${COMP_WORDS[COMP_CWORD - 1]}"
  case "$previous" in
    --log-level) _quillpost_words "error warning information trace" "$current" ;;
    --log-file) mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
    *) _quillpost_words "--log-level --log-file --version --help" "$current" ;;
  esac
}

complete -o filenames -F _quillpost quillpost
complete -o filenames -F _quillpostd quillpostd
