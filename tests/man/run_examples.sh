#!/usr/bin/env bash
# run_examples.sh BIN PAGE...: runs the commands of manual pages ("$ " lines and their continuations), one after the
# other in one folder that is empty at first, with the tools of BIN. The first that fails ends it. The lab that each
# page begins with is made once.
set -euo pipefail
PATH=$1:$PATH
shift

# What is tested is not how long a guess at a PIN takes.
export QXPROVIDER_PIN_KDF_ROUNDS=1000

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
for page in "$@"; do
  awk '/^\$ / { on = 1; sub(/^\$ /, "") } on { print } on && !/\\e$/ { on = 0 }' "$page" |
    sed 's/\\e$/\\/' >"$work/commands"
  [ -s "$work/commands" ] || { echo "no commands in $page" >&2 && exit 1; }
  cat "$work/commands" >>"$work/all"
done
mkdir "$work/here"
cd "$work/here"
awk '!(/^qxprovider lab create lab$/ && seen++)' ../all >../once
bash -euo pipefail -x ../once
