#!/usr/bin/env bash
# tool_test.sh PREFIX: the installed program runs where it lies, and its page and completion are found.
set -euo pipefail
unset LD_LIBRARY_PATH

prefix=$1
MSG_TARVEL_DATA_DIR=$(mktemp -d)/
export MSG_TARVEL_DATA_DIR
trap 'rm -rf "$MSG_TARVEL_DATA_DIR"' EXIT

"$prefix/bin/msg-tarvel" create
"$prefix/bin/msg-tarvel" ipc read_message | grep -q read_message
MANPATH=$prefix/share/man man --where msg-tarvel
# shellcheck source=/dev/null
source "$prefix/share/bash-completion/completions/msg-tarvel"
complete -p msg-tarvel
