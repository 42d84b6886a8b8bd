#!/usr/bin/env bash
# page_test.sh PROGRAM PAGE [--write]: the table in PAGE is what PROGRAM prints; with --write it is made so.
set -euo pipefail
program=$1 page=$2

current=$(mktemp)
trap 'rm -f "$current"' EXIT
{
  sed '/^<!-- table -->$/q' "$page"
  "$program"
  sed -n '/^<!-- end of table -->$/,$p' "$page"
} >"$current"
[ "$(grep -c '^| [A-Z][A-Z] |' "$current")" -ge 40 ] || {
  echo "the table has too few pairs"
  exit 1
}
if [ "${3:-}" = --write ]; then
  cat "$current" >"$page"
fi
diff -u "$page" "$current"
