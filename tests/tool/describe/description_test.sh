#!/usr/bin/env bash
# description_test.sh PROGRAM KIND FILE: FILE is what PROGRAM prints for KIND.
set -euo pipefail
if ! "$1" "$2" | diff "$3" -; then
  echo "$3 is not what the command line makes of itself (>): run script/describe"
  exit 1
fi
