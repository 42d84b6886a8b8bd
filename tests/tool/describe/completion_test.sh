#!/usr/bin/env bash
# completion_test.sh SHELL SCRIPT: what SHELL (bash, fish or zsh) offers after what was typed so far,
# with the completion of SCRIPT.
set -euo pipefail

shell=$1 script=$(realpath "$2")
here=$(cd "$(dirname "$0")" && pwd)
if ! command -v "$shell"; then
  echo "skipped: this machine has no $shell (script/bootstrap test installs it)"
  exit 77
fi

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
export HOME=$folder/home
mkdir -p "$HOME" "$folder/files/old backups"
cd "$folder/files"
touch "old backups/one.xml" two.xml

# offers LINE: one word in each line, as the shell offers it behind LINE.
offers_of_bash() {
  local function
  # The script is the one under test.
  # shellcheck source=/dev/null
  source "$script"
  function=$(complete -p msg-tarvel | sed -n 's/^complete -F \(.*\) msg-tarvel$/\1/p')
  # The shell makes words of the line, and one of each =.
  read -ra COMP_WORDS <<<"${1//=/ = }"
  [[ $1 != *[\ =] ]] || COMP_WORDS+=("")
  COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
  COMPREPLY=()
  "$function"
  printf '%s\n' ${COMPREPLY[@]+"${COMPREPLY[@]}"}
}
offers_of_fish() {
  # The shell inside expands what stands here, and says what a word is behind a tab.
  # shellcheck disable=SC2016
  fish --no-config -c 'source $argv[1]; complete -C $argv[2]' "$script" "$1" |
    sed -E 's/\t.*//; s,/$,,; s/^--[a-z-]+=//'
}
offers() {
  case $shell in
    bash) offers_of_bash "$1" ;;
    fish) offers_of_fish "$1" ;;
    # Its own function for files names a directory twice.
    zsh) zsh -f "$here/zsh_offers.zsh" "$script" "$1" "$folder/zsh" | sort -u ;;
  esac
}

failures=0
# expect OFFER LINE: OFFER is what stands in line, in alphabetical order, each once
expect() {
  local offered
  offered=$(offers "msg-tarvel $2" | LC_ALL=C sort | paste -sd,)
  if [ "$offered" != "$1" ]; then
    printf 'FAILED: msg-tarvel %s\n  offers   %s\n  expected %s\n' "$2" "$offered" "$1"
    failures=1
  fi
}

expect "backup,buffer,check,conversation,create,export,find,generate,import,info,ipc,message,messages,query,repair,threads" ""
expect "check,conversation,create" "c"
expect "threads" "--verbose --data-dir /tmp th"
expect "--data-dir,--help,--help-all,--json,--verbose,--version" "--"
expect "--ascending" "messages --a"
expect "--limit" "messages --json --l"
expect "--json" "buffer show --j"
expect "" "threads --a"
expect "--json" "--j"
expect "check,encode,show" "buffer "
expect "encode" "--data-dir=/tmp buffer e"
expect "old backups,two.xml" "import "
expect "old backups" "--data-dir "
expect "old backups" "--data-dir=o"
expect "two.xml" "buffer encode 3 --output t"
expect "two.xml" "buffer encode 3 -o t"
expect "two.xml" "buffer check tw"
expect "all,draft,inbox,outbox,sent" "messages --folder "
expect "db_get_thread,db_get_threads" "query db_get_th"
expect "nms_add_message,nms_add_msg_meta" "ipc nms_add_m"
expect "" "messages --limit "
expect "" "conversation "
# Where nothing else can follow, zsh offers the options.
options=""
[ "$shell" != zsh ] || options="--data-dir,--help,--help-all,--json,--verbose,--version,-h"
expect "$options" "threads "
# What has been typed as a value is no command.
expect "buffer" "--data-dir buffer bu"
expect "--verbose" "buffer --verb"

# Options of several commands stand once in each list of those that take a value.
repeats=$(
  awk '/^ *case -/ || / \| / { delete seen; for (i = 1; i <= NF; i++) if (seen[$i]++ && $i ~ /^-/) print $i }' "$script"
  grep -E '^    -.*\)$' "$script" | sort | uniq -d || true
)
if [ -n "$repeats" ]; then
  printf 'FAILED: the script says twice:\n%s\n' "$repeats"
  failures=1
fi

exit "$failures"
