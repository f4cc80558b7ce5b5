#!/bin/bash
# complete.bash FILE - what bash offers at the end of each line that is read: a line each, and an empty one behind.
# shellcheck source=/dev/null
source /usr/share/bash-completion/bash_completion
# shellcheck source=/dev/null
source "$1"
while IFS= read -r COMP_LINE; do
    COMP_POINT=${#COMP_LINE}
    # An equals sign is a word of its own, as for readline.
    read -ra COMP_WORDS <<<"${COMP_LINE//=/ = }"
    [[ $COMP_LINE != *' ' ]] || COMP_WORDS+=('')
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    COMPREPLY=()
    _quarlo 2>/dev/null
    printf '%s\n' "${COMPREPLY[@]}" | sed '/^$/d'
    echo
done
