# bash completion for stf2: commands and options come from the program's own help, which says what
# each of them is.

_stf2_words() {
  mapfile -t COMPREPLY < <(compgen -W "$1" -- "$2")
}

_stf2_commands() {
  "$1" --help 2>/dev/null | sed -n '/^SUBCOMMANDS:/I,$ s/^  \([a-z]\{1,\}\)  .*/\1/p'
}

_stf2_options() {
  "${@}" --help 2>/dev/null | sed -n 's/^  \(-[a-zA-Z],\)\{0,1\}\(--[a-z-]*\).*/\2/p'
}

_stf2() {
  local current="${COMP_WORDS[COMP_CWORD]}" previous="${COMP_WORDS[COMP_CWORD - 1]}"
  local program="${COMP_WORDS[0]}" command="${COMP_WORDS[1]:-}"
  COMPREPLY=()
  if [ "$COMP_CWORD" -eq 1 ]; then
    _stf2_words "$(_stf2_commands "$program") --help --version" "$current"
    return
  fi
  case "$previous" in
    --to)
      case "$command" in
        convert) _stf2_words "stf2 inkml xopp" "$current" ;;
        *) _stf2_words "svg png pdf" "$current" ;;
      esac
      return ;;
    --page-size) _stf2_words "A3 A4 A5 A6 Letter Legal" "$current"; return ;;
    --ruling) _stf2_words "plain ruled squared dotted" "$current"; return ;;
    --units) _stf2_words "mm cm in pt px himetric" "$current"; return ;;
    --pen | --page | --start-time | --dpi | --margin | --color | --speed | --max-pause | --fps | --size | \
      --columns | --background-page)
      return ;;
  esac
  if [[ "$current" == -* ]]; then
    _stf2_words "$(_stf2_options "$program" "$command")" "$current"
  else
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
  fi
}

complete -o filenames -F _stf2 stf2
