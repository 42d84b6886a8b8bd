#!/usr/bin/env bash
# man_page_test.sh PAGE: the page formats without a warning and says what it has to.
set -euo pipefail
export LC_ALL=C.UTF-8

warnings=$(groff -man -ww -Tutf8 -rHY=0 "$1" 2>&1 >/dev/null)
if [ -n "$warnings" ]; then
  echo "$warnings"
  exit 1
fi
# Without the escapes that make letters bold, and in lines that are never broken.
text=$(groff -man -Tutf8 -P-cbou -rLL=1000n "$1")
for words in "msg-tarvel - makes, fills and asks a message store" "buffer encode MSGID" \
  "-o, --output FILE" "find NUMBER..." "ipc [NAME|NUMBER]" "as 'threads' lists it" \
  "EXIT STATUS" "Nothing found, or something wrong found" "MSG_TARVEL_DATA_DIR" ".local/share/msg-tarvel/" "SEE ALSO" "sqlite3(1)" "libmsg-tarvel-common-dev"; do
  if [[ $text != *"$words"* ]]; then
    echo "$text"
    echo "The page does not say: $words"
    exit 1
  fi
done
