#!/usr/bin/env bash
# bash_completion_test.sh SCRIPT: what bash offers after what was typed so far.
set -euo pipefail
# The script is the one under test; its variables are bash's own for completion.
# shellcheck source=/dev/null
source "$1"

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
mkdir "old backups"
touch "old backups/one.xml" two.xml

failures=0
# expect OFFER WORD...: for these words, the last of them being typed, bash offers OFFER
expect() {
  local expected=$1 offered
  shift
  COMP_WORDS=(msg-tarvel "$@")
  COMP_CWORD=$#
  COMPREPLY=()
  "$function"
  offered=$(printf '%s\n' ${COMPREPLY[@]+"${COMPREPLY[@]}"} | sort | paste -sd,)
  if [ "$offered" != "$expected" ]; then
    printf 'FAILED: %s\n  offers   %s\n  expected %s\n' "${COMP_WORDS[*]}" "$offered" "$expected"
    failures=1
  fi
}

function=$(complete -p msg-tarvel | sed -n 's/^complete -F \(.*\) msg-tarvel$/\1/p')

expect "buffer,commands,conversation,create,find-thread,import,messages,threads" ""
expect "commands,conversation,create" "c"
expect "threads" --verbose --data-dir /tmp "th"
expect "--data-dir,--help,--help-all,--verbose,--version" "--"
expect "--ascending" messages "--a"
expect "--json" buffer show "--j"
expect "" threads "--a"
expect "check,encode,show" buffer ""
expect "encode" --data-dir = /tmp buffer "e"
expect "old backups,two.xml" import ""
expect "old backups" --data-dir ""
expect "old backups" --data-dir = "o"
expect "two.xml" buffer encode 3 --output "t"
expect "two.xml" buffer check "tw"
expect "FOLDER_PAIR_1,FOLDER_PAIR_2,FOLDER_PAIR_3,FOLDER_PAIR_4,FOLDER_PAIR_5" \
  messages --folder-type "FOLDER_"
expect "nms_add_message,nms_add_msg_meta" commands "nms_add_m"
expect "" messages --limit ""
expect "" conversation ""
# What has been typed as a value is no command.
expect "buffer" --data-dir buffer "bu"

exit "$failures"
