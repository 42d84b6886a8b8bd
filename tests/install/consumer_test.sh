#!/usr/bin/env bash
# consumer_test.sh WAY CMAKE C CXX SOURCES PREFIX: builds programs outside the tree with the library,
# WAY being find-package, pkg-config or add-subdirectory, and runs them.
set -euo pipefail

way=$1 cmake=$2 cc=$3 cxx=$4 sources=$5 prefix=$6
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
cp "$sources"/tests/install/consumer/* "$sources"/examples/list_threads.cpp .
# What this machine's environment says of other libraries must not help.
unset CMAKE_PREFIX_PATH CPATH LD_LIBRARY_PATH LIBRARY_PATH PKG_CONFIG_PATH

with_cmake() {
  if ! { "$cmake" -S . -B bin -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" "$@" &&
    "$cmake" --build bin -j 2; } >log 2>&1; then
    cat log
    exit 1
  fi
}

with_pkg_config() {
  PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name msg-tarvel-common.pc)")
  export PKG_CONFIG_PATH
  local flags
  # Its quotes are for the shell: the prefix has a space.
  eval "flags=($(pkg-config --cflags --libs msg-tarvel-common))"
  mkdir bin
  "$cxx" -std=c++17 make_store.cpp "${flags[@]}" -o bin/make_store
  "$cxx" -std=c++17 list_threads.cpp "${flags[@]}" -o bin/list_threads
  "$cc" -std=c99 records.c "${flags[@]}" -o bin/records
  LD_LIBRARY_PATH=$(dirname "$PKG_CONFIG_PATH")
  export LD_LIBRARY_PATH
}

case $way in
  find-package) with_cmake -DCMAKE_PREFIX_PATH="$prefix" ;;
  pkg-config) with_pkg_config ;;
  add-subdirectory) with_cmake -DLIBRARY_SOURCES="$sources" ;;
esac

export MSG_TARVEL_DATA_DIR=$folder/data/
bin/make_store
listed=$(bin/list_threads)
record=$(bin/records)
if [ "$listed" != "1: 1 unread, Are you coming?" ] || [ "$record" != Hello ]; then
  printf 'The programs say "%s" and "%s".\n' "$listed" "$record"
  exit 1
fi
