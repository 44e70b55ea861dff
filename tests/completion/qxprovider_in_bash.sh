#!/usr/bin/env bash
# qxprovider_in_bash.sh SCRIPT
set -uo pipefail
# shellcheck source=tests/completion/completed.sh
. "$(dirname "$0")/completed.sh"
# shellcheck source=/dev/null
. "$1" || exit 1
complete -p qxprovider | grep -q -- '-F _qxprovider' || exit 1

# The alarm itself: there is no such word.
offers "nothing" _qxprovider qxprovider noth >/dev/null
[ "$failures" -eq 1 ] || exit 1
failures=0

offers "cert crl" _qxprovider qxprovider c
offers "generate" _qxprovider qxprovider key gen
offers "list" _qxprovider qxprovider store l
offers "--store" _qxprovider qxprovider cert add --st
offers "--json" _qxprovider qxprovider lab serve --j
offers "rsa2048" _qxprovider qxprovider key generate --type r
offers "" _qxprovider qxprovider lab serve --port ""
exit $((failures > 0))
