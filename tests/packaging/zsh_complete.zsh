#!/bin/zsh -f
# Prints, one a line, the candidates that zsh's completion offers at the end of a command line,
# with the completion functions of a folder. Usage: zsh -f zsh_complete.zsh FOLDER 'COMMAND LINE'
# An interactive zsh runs in a pseudo-terminal; its compadd is wrapped to print what it is
# given, and the line is typed followed by Tab and a key that ends the shell.
zmodload zsh/zpty || exit 1
zpty shell zsh -f -i

local line
# Reads the shell's output until a line holds $1, for $2 seconds at most; with $3, candidates
# are printed on the way.
await() {
  local -F until=$(( EPOCHREALTIME + $2 ))
  while (( EPOCHREALTIME < until )); do
    if ! zpty -rt shell line; then sleep 0.05; continue; fi
    [[ $line == *"$1"* ]] && return 0
    [[ -n $3 && $line == *'<candidate>'* ]] && print -r -- ${${line##*<candidate>}%%$'\r'*}
  done
  return 1
}
zmodload zsh/datetime

# The shell may throw away what is typed before it has set up its terminal: ask until it answers.
# (The markers are split where they are typed, so that the shell's echo of them does not count.)
integer tries=0
until (( ++tries > 20 )); do
  zpty -w shell 'print "<rea""dy>"'
  await '<ready>' 1 && break
done
zpty -w shell "fpath=(${(q)1} \$fpath)"
# A long list is printed without asking first, which would wait for a key.
zpty -w shell 'autoload -U compinit; compinit -u -D; PROMPT=; LISTMAX=100000'
zpty -w shell 'zstyle ":completion:*" completer _complete'
zpty -w shell 'compadd() {
  [[ " $* " == *" -"[OAD]" "* ]] && { builtin compadd "$@"; return; }
  local -a hits; builtin compadd -A hits "$@"; local s=$?
  local h; for h in $hits; do print -r -- "<can""didate>$h"; done
  return s
}'
zpty -w shell 'finish() { zle -I; print "<fin""ished>"; exit }; zle -N finish; bindkey "^T" finish'
zpty -w shell 'print "<config""ured>"'
await '<configured>' 20 || { print -u2 "zsh did not start"; exit 1; }
sleep 0.2  # the prompt comes after the marker
zpty -wn shell "$2"$'\t'
# Ctrl-T runs finish once the completion is over; it is typed again in case it was lost.
until (( ++tries > 40 )); do
  zpty -wn shell $'\x14'
  await '<finished>' 2 candidates && { zpty -d shell; exit 0; }
done
zpty -d shell
print -u2 "zsh did not finish completing: $2"
exit 1
