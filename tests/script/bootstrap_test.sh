#!/usr/bin/env bash
# What script/bootstrap asks of a system on which no package is installed: bootstrap_test.sh SCRIPT.
# The system is made of stand-ins of its commands.
set -euo pipefail
script=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
asked=$folder/asked

fail() {
  echo "bootstrap: $*" >&2
  exit 1
}

stand_in() { # stand_in NAME TEXT
  printf '#!/bin/sh\n%s\n' "$2" >"$folder/$1"
  chmod +x "$folder/$1"
}
stand_in dpkg-query 'exit 1'
# shellcheck disable=SC2016 # the stand-in is to expand it
stand_in apt-get 'echo "$@" >>'"$asked"
# shellcheck disable=SC2016
stand_in sudo 'exec "$@"'
export PATH=$folder:$PATH

MSG_TARVEL_NO_BOOTSTRAP=1 "$script" || fail "told to install nothing, it fails"
[ ! -e "$asked" ] || fail "told to install nothing, it asks for: $(cat "$asked")"

"$script" build test >/dev/null
grep -qE '^install .* g\+\+ .* libgtest-dev .* uidmap' "$asked" || fail "it asks for: $(cat "$asked")"
! grep -E 'clang|abigail' "$asked" || fail "plain tests need neither clang nor libabigail"

"$script" nonsense 2>/dev/null && fail "it knows a group 'nonsense'"
[ "$(wc -l <"$asked")" -eq 2 ] || fail "it asks for more: $(cat "$asked")"
