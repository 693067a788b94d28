# Completion of @tool@ in bash, made by: @tool@ --generate-completion-script bash

# Sets the number of values that option $2 of command $1 takes (0, 1, or "*" for a list), and the known values.
_@id@_option() {
    takes=0 values= path=
    case "$1 $2" in
    # @option_cases@
    esac
}

# Sets the words that may follow command $1, or that may precede a command.
_@id@_words() {
    case $1 in
    # @word_cases@
    esac
}

_@id@() {
    local -a words=()
    local piece word rest=$COMP_LINE current=$2 prefix=$2
    local command= takes=0 values= path= given= options= commands= candidates=
    # Readline also splits words at "=" and ":". Joins them again, the last one up to the cursor.
    if [[ ${COMP_WORDS[COMP_CWORD]} == [=:] ]]; then
        current=${COMP_WORDS[COMP_CWORD]} prefix=
    fi
    for piece in "${COMP_WORDS[@]:0:COMP_CWORD}" "$current"; do
        if [[ ${#words[@]} == 0 || $rest == [[:blank:]]* ]]; then
            words+=("$piece")
        else
            words[-1]+=$piece
        fi
        rest=${rest#"${rest%%[![:blank:]]*}"}
        rest=${rest#"$piece"}
    done
    current=${words[-1]}

    for word in "${words[@]:1:${#words[@]}-2}"; do
        if [[ $word == -* ]]; then
            _@id@_option "$command" "${word%%=*}"
            [[ $word == *=* ]] && given=yes || given=
        elif [[ $takes == 0 || ( $takes == 1 && -n $given ) ]]; then
            command=${command:+$command }$word
        else
            given=yes
        fi
    done
    if [[ $current == -*=* ]]; then
        _@id@_option "$command" "${current%%=*}"
        given=
    elif [[ $current == -* || ( $takes == 1 && -n $given ) ]]; then
        takes=0
    fi

    COMPREPLY=()
    if [[ ${words[-2]} == *[\<\>] || $current == *[\<\>]* || ( $takes != 0 && -n $path ) ]]; then
        compopt -o default
        return
    fi
    if [[ $takes == 0 || ( -n $given && -z $values ) ]]; then
        _@id@_words "$command"
        [[ -n $commands && $current != -* ]] && candidates=$commands || candidates=$options
    else
        candidates=$values
    fi
    mapfile -t COMPREPLY < <(compgen -W "$candidates" -- "$prefix")
}

complete -F _@id@ @tool@
