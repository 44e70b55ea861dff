#!/usr/bin/env bash
# interface_unchanged.sh LIBRARY BASELINE: the exports, their arguments and records are those of the baseline.
set -euo pipefail
library=$1
baseline=$2

now=$(mktemp)
trap 'rm -f "$now"' EXIT
"$(dirname "$0")/describe.sh" "$library" >"$now"
if ! abidiff --no-show-locs "$baseline" "$now"; then
  echo "$library differs from $baseline: scripts/abi_baseline.sh, if that is meant" >&2
  exit 1
fi
