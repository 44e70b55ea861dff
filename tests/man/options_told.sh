#!/usr/bin/env bash
# options_told.sh TOOL PAGE: every command and every option that the tool's --help texts list is in its page.
set -euo pipefail
tool=$1
page=$2

missing=0
told() {
  grep -qE -- "$1" "$page" && return
  echo "$(basename "$page") does not tell of $2"
  missing=1
}

# look COMMAND...: the options of a command, and its commands in turn.
look() {
  local help options commands word
  help=$("$tool" "$@" --help)
  options=$(sed -n '/^Subcommands:/q;s/^  \(-[^ ]*\).*/\1/p' <<<"$help" | grep -oE -- '--[a-z0-9-]+' || true)
  commands=$(sed -n '1,/^Subcommands:/d;s/^  \([a-z]*\) .*/\1/p' <<<"$help")
  [ -n "$options" ] || { echo "$*: no options in the help" >&2 && exit 1; }
  for word in $options; do
    told "Fl -${word#--}( |\$)" "$word of $tool $*"
  done
  for word in $commands; do
    told "^\\.(It )?Cm ([a-z]+ )?$word( |\$)" "the command $* $word"
    look "$@" "$word"
  done
}

look
exit $missing
