# SPDX-License-Identifier: MIT
# Completion of flashguard's command line in bash.

_flashguard() {
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} command='' earlier
    local commands='install check verify read info erase reset release boards'
    local options='-b --board --boards-folder --lock-folder --wait --json -q --quiet -v --verbose
        --prometheus -h --help'
    for earlier in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [[ " $commands " != *" $earlier "* ]] || command=$earlier
    done
    case $command in
        '') options+=" --version $commands" ;;
        install)
            options+=' --force --prove --sha256 --speed --keep-information --lose-information
                --password-of --may-erase --status-when-current'
            ;;
        check) options+=' -o --output' ;;
        verify) options+=' --speed --may-erase' ;;
        read) options+=' --speed --password-of --may-erase -o --output' ;;
        info) options+=' --password-of --may-erase' ;;
    esac
    case $before in
        -b | --board)
            mapfile -t COMPREPLY < <(compgen -W \
                "$(flashguard boards -q 2>/dev/null | awk 'NR > 1 { print $1 }')" -- "$word")
            return
            ;;
        --speed) mapfile -t COMPREPLY < <(compgen -W '9600 19200 38400' -- "$word") && return ;;
        --boards-folder | --lock-folder)
            compopt -o filenames 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -d -- "$word")
            return
            ;;
        --wait | --sha256 | --status-when-current) COMPREPLY=() && return ;;
        --prometheus | --password-of | -o | --output) options='' ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
    if [[ -z $options || ($word != -* && " install check verify " == *" $command "* && -n $command) ]]; then
        compopt -o filenames 2>/dev/null
        mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -- "$word")
    fi
}

complete -F _flashguard flashguard
