#!/usr/bin/env bash
# exports_match.sh LIBRARY MAP: the library exports exactly the names in the map, none of them unique.
set -euo pipefail
library=$1
map=$2

declared=$(sed -n '/global:/,/local:/s/^ *\([A-Za-z_][A-Za-z_0-9]*\);.*/\1/p' "$map" | sort)
# The sanitizers' run time adds names of its own to what it instruments.
exported=$(nm -D --defined-only "$library" | awk '{print $3}' | grep -vE '^(__asan|__ubsan|__odr_asan|__sancov|_init$|_fini$)' | sort)

if [ -z "$declared" ]; then
  echo "no names in $map" >&2
  exit 1
fi
if [ "$declared" != "$exported" ]; then
  diff <(echo "$declared") <(echo "$exported") || true
  echo "$library and $map differ" >&2
  exit 1
fi
if nm -D --defined-only "$library" | awk '$2 == "u"' | grep .; then
  echo "$library has a unique symbol and would stay in memory after dlclose" >&2
  exit 1
fi
echo "$(echo "$exported" | wc -l) exports, as declared"
