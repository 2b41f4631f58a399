# SPDX-License-Identifier: MIT
# Completion of flashmcu's command line in bash.

_flashmcu() {
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
    case $before in
        -m) mapfile -t COMPREPLY < <(compgen -W 'BRDA BRDB BRDC' -- "$word") ;;
        -f | -d | -c)
            compopt -o filenames 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -f -- "$word")
            ;;
        -l) COMPREPLY=() ;;
        *) mapfile -t COMPREPLY < <(compgen -W '-m -d -f -c -l -F -r -v' -- "$word") ;;
    esac
}

complete -F _flashmcu flashmcu
