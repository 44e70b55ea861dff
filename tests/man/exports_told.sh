#!/usr/bin/env bash
# exports_told.sh MAP FOLDER...: every name that the map exports has a page of section 3 in one of the folders.
set -euo pipefail
map=$1
shift

missing=0
exports=$(sed -n '/global:/,/local:/s/^ *\([A-Za-z_]*\);$/\1/p' "$map")
[ -n "$exports" ] || { echo "no exports in $map" >&2 && exit 1; }
for name in $exports; do
  found=no
  for folder in "$@"; do
    [ ! -e "$folder/$name.3" ] || found=yes
  done
  [ $found = yes ] && continue
  echo "$name has no manual page"
  missing=1
done
exit $missing
