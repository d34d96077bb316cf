# fish completion for stf2: commands and options come from the program's own help, which says what
# each of them is.

function __stf2_commands
    set -l tokens (commandline -opc)
    $tokens[1] --help 2>/dev/null | sed -n '/^SUBCOMMANDS:/I,$ s/^  \([a-z]\{1,\}\)  *\(.*\)/\1\t\2/p'
end

function __stf2_options
    set -l tokens (commandline -opc)
    $tokens[1] $tokens[2] --help 2>/dev/null | sed -n 's/^  \(-[a-zA-Z],\)\{0,1\}\(--[a-z-]*\).*/\2/p'
end

function __stf2_needs_command
    test (count (commandline -opc)) -eq 1
end

function __stf2_is
    set -l tokens (commandline -opc)
    test (count $tokens) -gt 1; and contains -- $tokens[2] $argv
end

complete -c stf2 -n __stf2_needs_command -f -a "(__stf2_commands)"
complete -c stf2 -n __stf2_needs_command -l help -d "Print help"
complete -c stf2 -n __stf2_needs_command -l version -d "Print the version"
complete -c stf2 -n "not __stf2_needs_command" -a "(__stf2_options)"
complete -c stf2 -n "not __stf2_needs_command" -F
complete -c stf2 -n "__stf2_is convert" -l to -x -a "stf2 inkml xopp"
complete -c stf2 -n "__stf2_is render" -l to -x -a "svg png pdf"
complete -c stf2 -n "__stf2_is render replay" -l page-size -x -a "A3 A4 A5 A6 Letter Legal"
complete -c stf2 -n "__stf2_is render" -l ruling -x -a "plain ruled squared dotted"
complete -c stf2 -n "__stf2_is info convert split merge render replay stats" -l units -x -a "mm cm in pt px himetric"
