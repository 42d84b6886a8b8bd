#!/usr/bin/env bash
# without_tests.sh CMAKE C CXX SOURCES: a build without the tests has no example, unless asked for.
set -euo pipefail

cmake=$1 cc=$2 cxx=$3 sources=$4
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

targets() {
  "$cmake" -S "$sources" -B "$folder" -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" \
    -DBUILD_TESTING=OFF "$@" >&2
  "$cmake" --build "$folder" --target help
}

if targets | grep 'example-\|-tests'; then
  echo "A build without the tests has these all the same."
  exit 1
fi
targets -DMSG_TARVEL_BUILD_EXAMPLES=ON | grep example-own_store
