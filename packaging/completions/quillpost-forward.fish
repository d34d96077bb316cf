# fish completion for quillpost-forward: options come from the program's own help, which says what
# each of them is.

function __quillpost_forward_options
    set -l tokens (commandline -opc)
    $tokens[1] --help 2>/dev/null | sed -n 's/^  \(-[a-zA-Z],\)\{0,1\}\(--[a-z-]*\).*/\2/p'
end

complete -c quillpost-forward -f
complete -c quillpost-forward -a "(__quillpost_forward_options)"
complete -c quillpost-forward -l to -x -a "nats:// tls://"
complete -c quillpost-forward -l replicas -x -a "1 3 5"
complete -c quillpost-forward -l log-level -x -a "1 2 3 4"
for option in creds login tls-ca tls-cert tls-key config log-file
    complete -c quillpost-forward -l $option -r -F
end
