#!/usr/bin/env bash
# defaults_match.sh PROVIDER_CONF DOCUMENT: the configuration that the packages bring holds every key that
# the document tells, at the default that the document tells, and switches none of them on.
set -euo pipefail
# shellcheck disable=SC2016 # backquotes of Markdown
told=$(sed -n '/^```ini$/,/^```$/{/^```/d;s/ *# .*//;s/ *#$//;s/ *$//;/./p}' "$2")
brought=$(sed -n '/^\[/p;s/^# \([a-z_]* =.*\)/\1/p' "$1" | sed 's/ *$//')
[ -n "$told" ]
diff <(echo "$brought") <(echo "$told")
if grep -nE '^[^#[]' "$1"; then
  echo "$1 sets what nobody asked for" >&2
  exit 1
fi
