#!/usr/bin/env bash
# gdbus_codegen_test.sh TOOL CC: gdbus-codegen makes C code of the tool's introspection XML, which the
# compiler takes.
set -euo pipefail

tool=$1 cc=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

"$tool" ipc --introspection >"$folder/messages.xml"
gdbus-codegen --generate-c-code messages --output-directory "$folder" "$folder/messages.xml"
read -ra flags <<<"$(pkg-config --cflags gio-unix-2.0)"
"$cc" -fsyntax-only -Wall -Werror "${flags[@]}" "$folder/messages.c"
# A caller of a method with a reply, and what a server implements.
grep -q '^gboolean org_tarvel_messages_call_nms_add_message_sync (' "$folder/messages.h"
grep -q '^  gboolean (\*handle_read_message) (' "$folder/messages.h"
