# fish completion for quillpost-inbox: options come from the program's own help, which says what each
# of them is.

function __quillpost_inbox_options
    set -l tokens (commandline -opc)
    set -l command $tokens[1]
    contains -- "$tokens[2]" show import export backup; and set -a command $tokens[2]
    $command --help 2>/dev/null | sed -n 's/^  \(-[a-zA-Z],\)\{0,1\}\(--[a-z-]*\).*/\2/p'
end

function __quillpost_inbox_needs_command
    test (count (commandline -opc)) -eq 1
end

function __quillpost_inbox_is
    set -l tokens (commandline -opc)
    test (count $tokens) -gt 1; and test $tokens[2] = $argv[1]
end

complete -c quillpost-inbox -f
complete -c quillpost-inbox -n __quillpost_inbox_needs_command -a show -d "Put ink files into the inbox and show it"
complete -c quillpost-inbox -n __quillpost_inbox_needs_command -a import -d "Put ink files into the inbox"
complete -c quillpost-inbox -n __quillpost_inbox_needs_command -a export -d "Write pages to a file"
complete -c quillpost-inbox -n __quillpost_inbox_needs_command -a backup -d "Copy the whole inbox to a new file"
complete -c quillpost-inbox -a "(__quillpost_inbox_options)"
complete -c quillpost-inbox -n "__quillpost_inbox_is show; or __quillpost_inbox_is import; or __quillpost_inbox_is backup" -F
complete -c quillpost-inbox -n "__quillpost_inbox_is export" -l output -s o -r -F
complete -c quillpost-inbox -n "__quillpost_inbox_is export" -l to -x -a "pdf png svg inkml xopp stf2"
complete -c quillpost-inbox -n __quillpost_inbox_needs_command -l key -r -F
complete -c quillpost-inbox -n __quillpost_inbox_needs_command -l from -x -a "nats:// tls://"
for option in creds login tls-ca tls-cert tls-key log-file
    complete -c quillpost-inbox -n __quillpost_inbox_needs_command -l $option -r -F
end
complete -c quillpost-inbox -n __quillpost_inbox_needs_command -l log-level -x -a "1 2 3 4"
