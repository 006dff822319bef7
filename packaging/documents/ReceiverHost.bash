# An address, which bash breaks at its colon into three words, and a file.
_ReceiverHost() {
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]}
    COMPREPLY=()
    if ((COMP_CWORD > 1)) && [[ $word != : && $previous != : ]]; then
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
    fi
}
complete -F _ReceiverHost ReceiverHost
