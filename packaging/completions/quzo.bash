# Completion of quzo for bash 4.4 and later; the package bash-completion loads it, and any other shell by sourcing it.
#
# `quzo complete` answers with words that are quoted for this line already. Nothing of them is ever evaluated: names
# of objects and rules can be anything.

_quzo() {
    local answer line=${COMP_LINE:0:COMP_POINT}
    COMPREPLY=()
    while IFS= read -r answer; do
        case $answer in
            $'\tfiles') compopt -o default ;;
            $'\tfolders') compopt -o dirnames ;;
            *) COMPREPLY+=("${answer%%$'\t'*}") ;;
        esac
    done < <(command quzo complete --bash "$2" -- "$line" 2>/dev/null)
    if [[ ${#COMPREPLY[@]} -eq 1 && ${COMPREPLY[0]} == *= ]]; then
        compopt -o nospace
    fi
    compopt -o nosort
}

complete -F _quzo quzo
