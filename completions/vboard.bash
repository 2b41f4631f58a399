# SPDX-License-Identifier: MIT
# Completion of vboard's command line in bash. It reads vboard's own help, so that it knows what
# that vboard knows.

_vboard_help() { "${COMP_WORDS[0]}" "$@" --help 2>/dev/null; }
_vboard_commands() { _vboard_help "$@" | sed -n '/^Subcommands:/,$ s/^  \([a-z][a-z-]*\) .*/\1/p'; }
_vboard_choices() { "${COMP_WORDS[0]}" list "$1" 2>/dev/null | grep -oE '^[a-z][a-z0-9-]*'; }
# Each option with the type of its value, if it takes one.
_vboard_options() { _vboard_help "$@" | sed -En 's/^  (-[a-z],)?(--[a-z-]+) ?([^ :]*).*/\2 \3/p'; }

_vboard() {
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} i type
    for ((i = 1; i < COMP_CWORD; ++i)); do
        if [[ ${COMP_WORDS[i]} == -- ]]; then
            # What follows is a command line of its own.
            if declare -F _command_offset >/dev/null; then
                _command_offset $((i + 1))
            else
                compopt -o filenames 2>/dev/null
                mapfile -t COMPREPLY < <(compgen -c -f -- "$word")
            fi
            return
        fi
    done
    if ((COMP_CWORD == 1)); then
        mapfile -t COMPREPLY < <(compgen -W "$(_vboard_commands) --help" -- "$word")
        return
    fi
    if [[ ${COMP_WORDS[1]} == list ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$(_vboard_commands list) --help" -- "$word")
        return
    fi
    type=$(_vboard_options "${COMP_WORDS[1]}" | sed -n "s/^$before //p")
    case $before:$type in
        --model:*)
            compopt -o filenames 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -W 'BRDA BRDB BRDC' -- "$word"; compgen -f -X '!*.toml' -- "$word")
            ;;
        --start:*) mapfile -t COMPREPLY < <(compgen -W "$(_vboard_choices states)" -- "$word") ;;
        --chip:*) mapfile -t COMPREPLY < <(compgen -W "$(_vboard_choices chips)" -- "$word") ;;
        --option:*)
            compopt -o nospace 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -S = -W "$(_vboard_choices options)" -- "$word")
            ;;
        *:)
            mapfile -t COMPREPLY < <(compgen -W "$(_vboard_options "${COMP_WORDS[1]}" |
                cut -d ' ' -f 1) --" -- "$word")
            if _vboard_help "${COMP_WORDS[1]}" | grep -q '^  file FILE'; then
                compopt -o filenames 2>/dev/null
                mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -- "$word")
            fi
            ;;
        *:FILE)
            compopt -o filenames 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -f -- "$word")
            ;;
        *\|*) mapfile -t COMPREPLY < <(compgen -W "${type//|/ }" -- "$word") ;;
        *) COMPREPLY=() ;;
    esac
}

complete -F _vboard vboard
