#!/usr/bin/env bash
# exported_symbols.sh NM LIBRARY LIST: the library exports what LIST names, with these versions, and
# nothing else. exported_symbols.sh NM LIBRARY prints such a list.
set -euo pipefail
export LC_ALL=C

nm=$1 library=$2 list=${3:-}
exported() { "$nm" -D --defined-only -C "$library" | sed -E 's/^[0-9a-f]+ . //' | sort -u; }

if [ -z "$list" ]; then
  exported
  exit
fi

if ! difference=$(diff "$list" <(exported)); then
  echo "What the library exports (>) is not what $list says (<):"
  echo "$difference"
  exit 1
fi
# A list written anew without being read must not let inner functions out, nor templates, whose names
# begin with a result type.
inner='(^|:)_+(db_|serialize|deserialize|calculate|countryCodeLength|write_file)|::(wire|log)::|^[^(]* '
if grep -E "$inner" "$list"; then
  echo "The names above are inner ones and must stay hidden."
  exit 1
fi
echo "$(wc -l <"$list") exported names"
