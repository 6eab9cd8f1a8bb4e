# usage: zsh -f complete.zsh FOLDER LINE PATTERN
# Writes LINE and two tabs into an interactive shell that has the completions of FOLDER, and reads until PATTERN comes.
zmodload zsh/zpty
zpty -b shell zsh -f -i
zpty -w shell "PS1='ready> '; fpath=($1 \$fpath); autoload -U compinit; compinit -u -D; print load''ed"
zpty -r shell shown $'*loaded*' || exit 1
zpty -w -n shell "$2"$'\t\t'
zpty -r shell shown "*$3*"
