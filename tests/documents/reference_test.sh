#!/usr/bin/env bash
# reference_test.sh ROOT FOLDER: the reference is complete and no link in it is dead. It is built into FOLDER.
set -euo pipefail

if ! command -v doxygen; then
  echo "skipped: this machine has no doxygen (script/bootstrap docs installs it)"
  exit 77
fi
MSG_TARVEL_NO_BOOTSTRAP=1 "$1/script/docs" "$2"
