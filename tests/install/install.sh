#!/usr/bin/env bash
# install.sh CMAKE BUILD FOLDER LISTING: installs BUILD below FOLDER and moves what it laid down to
# "FOLDER/a prefix", which no file of it may mind. The files are those of LISTING.
set -euo pipefail
export LC_ALL=C

cmake=$1 build=$2 folder=$3 listing=$4
rm -rf "$folder"
"$cmake" --install "$build" --prefix "$folder/first place" >/dev/null
mv "$folder/first place" "$folder/a prefix"
cd "$folder/a prefix"

# The folder of libraries has another name on other systems, and one file that of the build type.
files=$(find . -type l -printf '%P -> %l\n' -o -type f -printf '%P\n' |
  sed -E 's,lib(/[a-z0-9_]+-linux-[a-z]+|64)/,lib/,;s,-targets-[a-z]+,-targets-TYPE,' | sort)
if ! diff "$listing" <(echo "$files"); then
  echo "What is installed (>) is not what $listing says (<)."
  exit 1
fi
if grep -rIl --exclude-dir=man -e "$build" -e "first place" .; then
  echo "The files above name a place of the build."
  exit 1
fi
