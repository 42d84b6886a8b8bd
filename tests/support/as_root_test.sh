#!/usr/bin/env bash
# Looks at tests that need root from outside: as_root_test.sh PROGRAM. One that fails as root fails, for
# any user; without a way to root it is skipped and says so.
set -euo pipefail

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
chmod 755 "$folder"
# The program finds its libraries from where it stands.
mkdir "$folder/bin" "$folder/lib"
program=$folder/bin/program
cp "$1" "$program"
cp -L "$(dirname "$1")"/../lib/*.so.* "$folder/lib"

fail() {
  echo "as-root: $*" >&2
  cat "$folder/out" >&2
  exit 1
}

"$program" >"$folder/out" 2>&1 || fail "the tests fail"
if ! grep -qF '[  SKIPPED ]' "$folder/out"; then
  AS_ROOT_TEST_FAILS=1 "$program" >"$folder/out" 2>&1 && fail "a failure as root is lost"
  grep -qF '[  FAILED  ] AsRootTest.FailsWhereTheRepeatedTestFails' "$folder/out" || fail "the wrong failure"
fi

ordinary=()
[ "$(id -u)" -ne 0 ] || ordinary=(setpriv --reuid=65534 --regid=65534 --clear-groups)
"${ordinary[@]}" /usr/bin/env PATH=/nonexistent "$program" >"$folder/out" 2>&1 ||
  fail "without a way to root the tests fail"
[ "$(grep -cF '[  SKIPPED ] AsRootTest.' "$folder/out")" -ge 2 ] || fail "not all are skipped"
[ "$(grep -c '^needs root, ' "$folder/out")" -eq 2 ] || fail "the reason is missing"
