#!/usr/bin/env bash
# moved_tree_test.sh SOURCES: a tree that was moved after it was built builds again, and one that was not
# keeps what is built.
set -euo pipefail

sources=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

fail() {
  echo "$*"
  exit 1
}
# build [argument of script/configure]...
build() {
  script/configure "$@" -DBUILD_TESTING=OFF -DMSG_TARVEL_BUILD_TOOL=OFF
  cmake --build build/release --target msg-tarvel-platform >/dev/null
}
expect_configured_for() {
  grep -qx "CMAKE_HOME_DIRECTORY:INTERNAL=$1" build/release/CMakeCache.txt || fail "not configured for $1"
}

mkdir "$folder/first place"
cd "$sources"
cp -r CMakeLists.txt CMakePresets.json cmake helpers include platform script src "$folder/first place"
cd "$folder/first place"
build --preset release
expect_configured_for "$folder/first place"
touch build/release/kept build/other

said=$(build --preset release)
[ -e build/release/kept ] || fail "a build folder that is good was begun anew"
[ -z "$said" ] || fail "it says: $said"
ln -s "$folder/first place" "$folder/link"
(cd "$folder/link" && build -B build/release --preset release)
[ -e build/release/kept ] || fail "a link to the tree was taken for another tree"

mv "$folder/first place" "$folder/second place"
cd "$folder/second place"
said=$(build --preset release -B build/release)
expected="build/release was made when the tree was $folder/first place; it is begun anew"
[ "$said" = "$expected" ] || fail "it says: $said"
expect_configured_for "$folder/second place"
[ ! -e build/release/kept ] || fail "the build folder of another tree is still there"
[ -e build/other ] || fail "what is no build folder is gone"

# A copy, whose original is still there.
cp -r "$folder/second place" "$folder/copy"
cd "$folder/copy"
build -B build/release --preset release
expect_configured_for "$folder/copy"

cd "$sources"
if grep -nE '\bcmake +(-B|-S|--preset)' script/* .ci/run | grep -v '^script/reproducible:'; then
  fail "The lines above configure without script/configure."
fi
