#!/usr/bin/env bash
# examples_test.sh CMAKE C CXX SOURCES PREFIX: the examples, as a project of their own, are built with
# the library below PREFIX and do what they say. Of the tree they have only the helpers beside them.
set -euo pipefail

cmake=$1 cc=$2 cxx=$3 sources=$4 prefix=$5
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
cp -r "$sources/examples" "$sources/helpers" .
# What this machine's environment says of other libraries must not help.
unset CMAKE_PREFIX_PATH CPATH LD_LIBRARY_PATH LIBRARY_PATH PKG_CONFIG_PATH

if ! { "$cmake" -S examples -B build -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" \
  -DCMAKE_PREFIX_PATH="$prefix" && "$cmake" --build build -j 2; } >log 2>&1; then
  cat log
  exit 1
fi
if ! ldd build/bin/example-list_threads | grep "libmsg-tarvel-common.so.1 => $prefix/" >libraries; then
  echo "The examples use another library than the installed one."
  exit 1
fi

export MSG_TARVEL_DATA_DIR=$folder/data/
build/bin/example-own_store
build/bin/example-list_threads | grep -x "1: [0-9]* unread, .*"
build/bin/example-newest_unread 1
examples/handover/run build/bin
