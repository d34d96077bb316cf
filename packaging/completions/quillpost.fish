# fish completion for quillpost and quillpostd

function __quillpost_applications
    set -l directory "$QUILLPOST_ROOT/Library/Preferences/Talvo/Quillpost/Subscriptions"
    test -d "$directory"; and command ls -- "$directory"
end

function __quillpost_wants_action
    __fish_seen_subcommand_from subscriptions
    and not __fish_seen_subcommand_from list check add remove
end

set -l commands hello import watch listen status subscriptions help
complete -c quillpost -f
complete -c quillpost -n "not __fish_seen_subcommand_from $commands" -a hello -d "Ask the service for its version"
complete -c quillpost -n "not __fish_seen_subcommand_from $commands" -a import -d "Hand ink files to the service"
complete -c quillpost -n "not __fish_seen_subcommand_from $commands" -a watch -d "Import the ink that appears in directories"
complete -c quillpost -n "not __fish_seen_subcommand_from $commands" -a listen -d "Receive the packages of an application"
complete -c quillpost -n "not __fish_seen_subcommand_from $commands" -a status -d "Tell how the service and the store are"
complete -c quillpost -n "not __fish_seen_subcommand_from $commands" -a subscriptions -d "List, check, add and remove subscriptions"
complete -c quillpost -n "not __fish_seen_subcommand_from $commands" -l version -d "Print the version"
complete -c quillpost -n "not __fish_seen_subcommand_from $commands" -a help -d "Print the help of a command"
complete -c quillpost -n "__fish_seen_subcommand_from help" -a "hello import watch listen status subscriptions"
complete -c quillpost -l help -d "Print help"
complete -c quillpost -n "__fish_seen_subcommand_from $commands" -l json -d "Print JSON"
complete -c quillpost -n "__fish_seen_subcommand_from status" -l watch -d "Go on showing what happens"
complete -c quillpost -n "__fish_seen_subcommand_from import watch check" -F
complete -c quillpost -n "__fish_seen_subcommand_from import" -l dry-run -d "Tell what would be imported"
complete -c quillpost -n "__fish_seen_subcommand_from import" -l convert -d "Convert InkML and .xopp"
complete -c quillpost -n "__fish_seen_subcommand_from import watch" -l page -x -d "Page address of converted ink"
complete -c quillpost -n "__fish_seen_subcommand_from import watch" -l pen -x -d "Pen of converted ink"
complete -c quillpost -n "__fish_seen_subcommand_from watch" -l once -d "End when all has been imported"
complete -c quillpost -n "__fish_seen_subcommand_from import" -l wait -x -d "Wait so many seconds for a service"
complete -c quillpost -n "__fish_seen_subcommand_from listen remove" -a "(__quillpost_applications)"
complete -c quillpost -n "__fish_seen_subcommand_from listen" -l save -rF -d "Keep copies in a directory"
complete -c quillpost -n "__fish_seen_subcommand_from listen" -l peek -d "Show packages and confirm none"
complete -c quillpost -n "__fish_seen_subcommand_from listen" -l exec -x -d "Command to run for each package"
complete -c quillpost -n "__fish_seen_subcommand_from listen" -l reject -d "Refuse packages"
complete -c quillpost -n "__fish_seen_subcommand_from listen" -l ignore -x -d "A page that is not wanted"
complete -c quillpost -n "__fish_seen_subcommand_from listen" -l count -x -d "End after so many packages"
complete -c quillpost -n "__fish_seen_subcommand_from listen" -l idle -x -d "End after so many seconds without a package"
complete -c quillpost -n __quillpost_wants_action -a "list check add remove"
complete -c quillpost -n "__fish_seen_subcommand_from add" -l path -rF -d "Program to launch"
complete -c quillpost -n "__fish_seen_subcommand_from add" -l title -x -d "Name for people"
complete -c quillpost -n "__fish_seen_subcommand_from add" -l page -x -d "Pages it wants"
complete -c quillpost -n "__fish_seen_subcommand_from add" -l replace -d "Replace the subscription that is there"
complete -c quillpost -n "__fish_seen_subcommand_from add" -l force -d "Subscribe an application that can't be launched, too"

complete -c quillpostd -f
complete -c quillpostd -l log-level -x -a "error warning information trace" -d "How much to log"
complete -c quillpostd -l log-file -rF -d "Log to a file"
complete -c quillpostd -l version -d "Print the version"
complete -c quillpostd -l help -d "Print help"
