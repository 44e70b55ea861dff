#!/usr/bin/env bash
# symbols_match.sh SYMBOLS MAP: the symbols file of a package names exactly what the library exports.
set -euo pipefail
named=$(sed -n 's/^ \([A-Za-z_0-9]*\)@Base .*/\1/p' "$1" | sort)
exported=$(sed -n '/global:/,/local:/s/^ *\([A-Za-z_][A-Za-z_0-9]*\);.*/\1/p' "$2" | sort)
[ -n "$named" ]
diff <(echo "$named") <(echo "$exported")
