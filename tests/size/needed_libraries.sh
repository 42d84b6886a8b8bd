#!/usr/bin/env bash
# needed_libraries.sh READELF LIBRARY PLATFORM...: LIBRARY needs no library but SQLite, GLib, the
# PLATFORM's and the runtimes of C and C++.
set -euo pipefail

readelf=$1 library=$2
shift 2
allowed=(libsqlite3.so.0 libglib-2.0.so.0 libstdc++.so.6 libgcc_s.so.1 libm.so.6 libc.so.6 "$@")

mapfile -t needed < <(LC_ALL=C "$readelf" -d "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
if [ ${#needed[@]} -lt 4 ]; then
  echo "Found only ${#needed[@]} needed libraries: ${needed[*]}"
  exit 1
fi
status=0
for one in "${needed[@]}"; do
  # The dynamic linker has another name on every processor.
  if [[ " ${allowed[*]} " != *" $one "* && $one != ld-linux*.so.* ]]; then
    echo "needs $one, which is none of: ${allowed[*]}"
    status=1
  fi
done
exit "$status"
