# complete.zsh FILE - what zsh offers at the end of each line that is read: a line each, and an empty one behind.
# Completion wants an interactive shell, so one runs in a terminal of its own, and tells what matches.
zmodload zsh/zpty

typeset -r setup='
PROMPT= RPROMPT= PS2=
unsetopt zle_bracketed_paste
fpath=(${QUARLO_COMPLETION:h} $fpath)
autoload -Uz compinit && compinit -D -u
zstyle ":completion:*" verbose no
zstyle ":completion:*" list-separator ""
bindkey "^I" complete-word
# Only calls that add matches are of interest, not those that fill arrays for later ones.
compadd() {
    if [[ " ${argv[1,(i)(-|--)]} " == *" -"(O|A|D)" "* ]]; then
        builtin compadd "$@"
        return
    fi
    local -a quarlo_found
    builtin compadd -A quarlo_found "$@"
    print -rl -- MATCH:${^quarlo_found}
    builtin compadd "$@"
}
# Called once each time it is asked for.
finish() { comppostfuncs=(finish) compstate[insert]= compstate[list]=; print -r -- THE-END }
comppostfuncs=(finish)
print -r -- THE-START
'

typeset -x QUARLO_COMPLETION=${1:A}
zpty shell zsh -f -i
zpty -w shell "$setup"
while zpty -r shell text && [[ $text != THE-START* ]]; do :; done
while IFS= read -r line; do
    zpty -w -n shell $'\C-u'"$line"$'\t'
    while zpty -r shell text && [[ $text != *THE-END* ]]; do
        [[ $text != *MATCH:* ]] || print -r -- ${${text##*MATCH:}%%$'\r'*}
    done
    print
done
zpty -d shell
