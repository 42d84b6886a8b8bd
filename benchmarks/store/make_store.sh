#!/usr/bin/env bash
# make_store.sh PROGRAM MESSAGES yes|no FOLDER: makes a store like a person's in the new FOLDER, with indexes or
# without, by PROGRAM, a msg-tarvel.
set -euo pipefail
program=$1 messages=$2 indexes=$3 folder=$4

arguments=()
[ "$indexes" = yes ] || arguments=(--no-indexes)
mkdir "$folder"
"$program" --data-dir "$folder" create "${arguments[@]}" >/dev/null
"$program" --data-dir "$folder" generate --messages "$messages" "${arguments[@]}" >/dev/null
