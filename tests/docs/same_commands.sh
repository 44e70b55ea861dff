#!/usr/bin/env bash
# same_commands.sh DOCUMENT TRANSLATION: both show the same blocks of commands (```sh ...) in the same order.
set -euo pipefail
commands() { awk '/^```/ { on = /^```sh/; if (on) print; next } on' "$1"; }
[ -n "$(commands "$1")" ]
diff <(commands "$1") <(commands "$2")
