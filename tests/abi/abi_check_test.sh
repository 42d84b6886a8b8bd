#!/usr/bin/env bash
# abi_check_test.sh ABI_CHECK CXX: script/abi-check takes a stand-in library that gained something and
# refuses one that lost or changed something.
set -euo pipefail

abi_check=$1 cxx=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"

cat >kept.cpp <<'END'
#include <string>
#define EXPORT __attribute__((visibility("default")))
namespace standin {
enum Kind : int { ONE = 1 };
class EXPORT Item {
 public:
  Item();
  int id = 0;
  std::string first;
  std::string second;
  Kind kind = ONE;
};
Item::Item() = default;
EXPORT int count(const Item& item) { return item.id; }
EXPORT void clear(Item& item) { item = Item(); }
}  // namespace standin
END

# build SOURCE: makes standin.so
build() { "$cxx" -std=c++17 -g -fPIC -fvisibility=hidden -shared "$1" -o standin.so; }

failures=0
# expect STATUS WORDS CHANGE: with CHANGE (of sed) made, abi-check ends with STATUS and says WORDS
expect() {
  local status=0 said
  sed -E "$3" kept.cpp >changed.cpp
  if [ -n "$3" ] && cmp -s kept.cpp changed.cpp; then
    echo "FAILED: '$3' changes nothing"
    failures=1
  fi
  build changed.cpp
  said=$("$abi_check" standin.so standin.abi 2>&1) || status=$?
  if [ "$status" -ne "$1" ] || [[ $said != *"$2"* ]]; then
    printf 'FAILED: after "%s" status %s and:\n%s\n' "$3" "$status" "$said"
    failures=1
  fi
}

build kept.cpp
"$abi_check" --update standin.so standin.abi

expect 0 "the same as" ''
expect 0 "with the additions" '/void clear/a EXPORT int more() { return 1; }'
expect 1 "Removed function" 's/EXPORT int count/int count/'
expect 1 "NOT compatible" 's/int id = 0/long id = 0/'
expect 1 "NOT compatible" 's/int id = 0/unsigned id = 0/'
expect 1 "NOT compatible" 's/Kind kind = ONE;/& int more = 0;/'
expect 1 "NOT compatible" 's/string first/string swapped/;s/string second/string first/;s/swapped/second/'
expect 1 "NOT compatible" 's/ONE = 1/ONE = 2/'
expect 1 "NOT compatible" 's/void clear\(Item& item\)/void clear(Item\& item, int)/'

# A library that is not there, or an interface file, is a failure too.
rm standin.so
if "$abi_check" standin.so standin.abi >/dev/null 2>&1; then
  echo "FAILED: accepts a library that is not there"
  failures=1
fi
exit "$failures"
