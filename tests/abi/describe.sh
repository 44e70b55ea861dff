#!/usr/bin/env bash
# describe.sh LIBRARY: its interface as abidw tells it, without what another machine or a rebuilt compiler changes.
set -euo pipefail
exec abidw --suppressions "$(dirname "$0")/internal.suppr" \
  --no-corpus-path --no-comp-dir-path --no-show-locs --no-parameter-names --no-elf-needed \
  --exported-interfaces-only --drop-private-types --drop-undefined-syms --type-id-style hash "$1"
