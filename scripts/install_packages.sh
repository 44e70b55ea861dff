#!/usr/bin/env bash
# install_packages.sh JOB...: installs the Debian packages of the named jobs (packages.txt) that are
# missing; nothing when all are there.
set -euo pipefail
list=$(dirname "$0")/packages.txt

missing=()
for job in "$@"; do
  while read -r kind package; do
    [ "$kind" = "$job" ] || continue
    dpkg-query -W -f '${Status}\n' "$package" 2>/dev/null | grep -q '^install ok installed$' ||
      missing+=("$package")
  done < <(grep -v '^#' "$list")
done
[ ${#missing[@]} -eq 0 ] && exit 0

as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(sudo)
echo "Installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
log=$(mktemp)
trap 'rm -f "$log"' EXIT
if ! { "${as_root[@]}" apt-get update && "${as_root[@]}" apt-get install -y --no-install-recommends "${missing[@]}"; } \
  >"$log" 2>&1; then
  cat "$log" >&2
  exit 1
fi
