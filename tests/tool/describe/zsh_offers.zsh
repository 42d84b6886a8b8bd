# zsh_offers.zsh SCRIPT LINE FOLDER: what an interactive zsh offers behind LINE with the completion of
# SCRIPT, one word in each line. FOLDER is for its files.
zmodload zsh/zpty
folder=$3
mkdir -p $folder/functions
rm -f $folder/{offers,done}
cp $1 $folder/functions/_msg-tarvel

# What the shell offers it also writes to a file; then it ends.
cat >$folder/setup <<'SETUP'
fpath=($folder/functions $fpath)
autoload -Uz compinit
compinit -u -d $folder/dump
bindkey '^I' complete-word
compadd() {
  # Calls that only sort words out offer nothing.
  if [[ ${@[1,(i)(-|--)]} == *-(O|A|D)\ * ]]; then
    builtin compadd "$@"
    return
  fi
  local -a offered
  builtin compadd -O offered "$@"
  print -rl -- ${(Q)offered} >>$folder/offers
  builtin compadd "$@"
}
finish() { : >$folder/done; exit }
comppostfuncs=(finish)
PROMPT=
SETUP
: >$folder/offers

zpty shell "folder=${(q)folder} zsh -f -i"
zpty -w shell "folder=${(q)folder}; source ${(q)folder}/setup; print ready-\$((6 * 7))"
zpty -r shell output '*ready-42*'
zpty -w -n shell "$2"$'\t'
for ((i = 0; i < 200; i++)); do
  [[ -e $folder/done ]] && break
  sleep 0.05
done
zpty -d shell
if [[ ! -e $folder/done ]]; then
  print -u2 "zsh did not complete: $2"
  exit 1
fi
grep . $folder/offers || true
