#!/usr/bin/env bash
# memory_cost_test.sh PROGRAM MODULE: the program measures each step, and a store costs something.
set -euo pipefail

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
figures=$("$1" "$2" "$folder/")
echo "$figures"
[ "$(awk 'NR > 1 { print $1 }' <<<"$figures" | paste -sd,)" = "sqlite-and-glib,library,store" ]
awk '$1 == "store" && $2 > 0 && $3 > 0 { found = 1 } END { exit !found }' <<<"$figures"
[ -e "$folder/dbspace/.msg-tarvel-server.db" ]
