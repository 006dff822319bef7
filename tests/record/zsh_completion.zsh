# Types a line and a tab into an interactive zsh and prints what it shows:
#   zsh_completion.zsh FOLDER_OF_FUNCTIONS WORKING_FOLDER LINE
zmodload zsh/zpty || exit 1
zpty -b shell zsh -f -i || exit 1
expect() {
    local seen
    zpty -r shell seen "*$1*" || exit 1
    print -r -- "$seen"
}
zpty -w shell "cd ${(q)2}; stty cols 200 rows 200; unsetopt zle_bracketed_paste; PROMPT="
zpty -w shell "fpath=(${(q)1} \$fpath); autoload -Uz compinit; compinit -u -D; LISTMAX=1000"
# The marker is not in what is typed, so that its echo is not taken for its output.
zpty -w shell "zle_highlight=none; print ready-\$((40 + 2))"
expect ready-42 >/dev/null
# After the completion the line is thrown away by a key that tells that it is all done.
zpty -w shell "all-shown() { print -r -- \"<\$BUFFER>\"; print all-\$((40 + 2)); BUFFER=; }"
zpty -w shell "zle -N all-shown; bindkey '^X' all-shown; print bound-\$((40 + 2))"
expect bound-42 >/dev/null
zpty -w -n shell "$3"$'\t\x18'
expect all-42
zpty -d shell
