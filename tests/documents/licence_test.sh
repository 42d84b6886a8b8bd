#!/usr/bin/env bash
# licence_test.sh ROOT: the packages state the licence of the file LICENSE, word by word.
set -euo pipefail
cd "$1"

# The words of a text, whatever its lines, of which Debian marks the empty ones with a dot.
words() { sed 's/^ \.$//' | tr -s '[:space:]' '\n'; }

status=0
diff <(sed '1,/^Copyright/d' LICENSE | words) \
  <(sed '1,/^License: Expat$/d' packaging/debian/copyright | sed '1,/^License: Expat$/d' | words) ||
  { echo "packaging/debian/copyright (>) has other terms than LICENSE (<)"; status=1; }
holders=$(sed -n 's/^Copyright (c) //p' LICENSE)
[ "$holders" = "2026 the msg-tarvel-common authors" ] || { echo "LICENSE names: $holders"; status=1; }
grep -qx "Copyright: $holders" packaging/debian/copyright ||
  { echo "packaging/debian/copyright names others than $holders"; status=1; }
grep -qxE 'License: +MIT' packaging/rpm/msg-tarvel-common.spec ||
  { echo "packaging/rpm/msg-tarvel-common.spec has another licence"; status=1; }
exit "$status"
