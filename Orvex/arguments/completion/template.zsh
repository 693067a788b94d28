#compdef @tool@
# Completion of @tool@ in zsh, made by: @tool@ --generate-completion-script zsh

_@id@() {
    local context state state_descr line
    local -A opt_args
    local -a commands=(
        # @commands@
    )
    _arguments -C \
        @options@ \
        ':command:->command' \
        '*::argument:->arguments' && return
    case $state in
    command)
        commands+=('help:show the help of a command')
        _describe command commands
        ;;
    arguments)
        case $words[1] in
        help) ((CURRENT == 2)) && _describe command commands ;;
        # @command_cases@
        esac
        ;;
    esac
}

# Runs the function if zsh has just loaded this file for a completion; declares it if the file was sourced.
if [[ $funcstack[1] == _@id@ ]]; then
    _@id@ "$@"
else
    compdef _@id@ @tool@
fi
