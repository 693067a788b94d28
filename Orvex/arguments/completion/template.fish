# Completion of @tool@ in fish, made by: @tool@ --generate-completion-script fish

# Prints the command in front of the cursor; fails if there is none yet.
function __@id@_command
    set -l words (commandline -opc)
    set -e words[1]
    while set -q words[1]
        if contains -- $words[1] @options_with_value@
            set -e words[1]
        else if not string match -q -- '-*' $words[1]
            echo $words[1]
            return 0
        end
        set -e words[1]
    end
    return 1
end

function __@id@_runs
    set -l command (__@id@_command)
    and test $command = $argv[1]
end

# Succeeds if the last word in front of the cursor is a value of one of these options.
function __@id@_lists
    set -l words (commandline -opc)
    string match -q -r -- '^-[^=]*$' $words[-1]
    and return 1
    contains -- (string replace -r '=.*' '' -- (string match -- '-*' $words)[-1]) $argv
end

complete -c @tool@ -f
complete -c @tool@ -n 'not __@id@_command' -a help -d 'show the help of a command'
# @candidates@
