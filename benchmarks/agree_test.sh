#!/usr/bin/env bash
# agree_test.sh PROGRAMS: the benchmarks run, every way gives what the library gives, and the tables are made of
# what they print. Nothing is said of the times.
set -euo pipefail
export PYTHONDONTWRITEBYTECODE=1
programs=$1
here=$(cd "$(dirname "$0")" && pwd)
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
results=$folder/results
mkdir "$results"
: >"$results/left-out.txt"
shortest=(--benchmark_min_time=0.00001 --benchmark_format=json)

fail() {
  echo "$*" >&2
  exit 1
}

for indexes in no yes; do
  "$here/store/make_store.sh" "$programs/msg-tarvel" 1000 "$indexes" "$folder/$indexes" 2>"$folder/log" ||
    fail "$(cat "$folder/log")"
  "$programs/bench-queries" "$folder/$indexes" "${shortest[@]}" 2>"$folder/log" \
    >"$results/queries-1000-$indexes.json" || fail "$(cat "$folder/log")"
  "$programs/bench-owner" "$folder/$indexes" 1 2>"$folder/log" >"$results/owner-1000-$indexes.json" ||
    fail "$(cat "$folder/log")"
done
given=$("$programs/bench-ask" "$folder/yes" "newest 20" 1 2>"$folder/log") || fail "$(cat "$folder/log")"
[ "$given" -eq 20 ] || fail "the newest 20 are $given"
"$programs/bench-serializer" "${shortest[@]}" 2>"$folder/log" >"$results/serializer.json" ||
  fail "$(cat "$folder/log")"
"$here/import/make_texts.py" 200 >"$folder/texts.xml"
"$here/import/measure_import.py" "$programs/msg-tarvel" "$folder/texts.xml" "$folder/import" 1 \
  >"$results/import.json"

"$here/report/collect.py" "$results" >"$folder/results.json"
"$here/report/print_tables.py" "$folder/results.json" >"$folder/tables"
for line in "1,000 messages, without indexes" "1,000 messages, with indexes" "  list of all" "  text, whole cycle" \
  "  msg-tarvel import" "  owner: commit"; do
  grep -qF "$line" "$folder/tables" || fail "the tables have no '$line': $(cat "$folder/tables")"
done
