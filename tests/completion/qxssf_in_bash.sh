#!/usr/bin/env bash
# qxssf_in_bash.sh SCRIPT
set -uo pipefail
# shellcheck source=tests/completion/completed.sh
. "$(dirname "$0")/completed.sh"
# shellcheck source=/dev/null
. "$1" || exit 1
complete -p qxssf | grep -q -- '-F _qxssf' || exit 1

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder" || exit 1
touch order.txt 'other order.txt'

offers "verify version" _qxssf qxssf ver
offers "verify" _qxssf qxssf --json veri
offers "--json" _qxssf qxssf --j
offers "--json" _qxssf qxssf sign --js
offers "--detached" _qxssf qxssf sign --det
offers "" _qxssf qxssf verify --det
offers "--certificates" _qxssf qxssf sign --cer
offers "CADES PKCS7 PKCS7_ANY PKCS7_CADES" _qxssf qxssf sign --format ""
offers "MD2 MD5" _qxssf qxssf digest --hash MD
offers "en ru" _qxssf qxssf explain --language ""
offers "order.txt" _qxssf qxssf verify --content or
offers "order.txt other order.txt" _qxssf qxssf sign -s "CN=Anna" o
offers "--recipient" _qxssf qxssf --library sign envelope --reci
offers "" _qxssf qxssf sign ver
offers "" _qxssf qxssf explain o
offers "" _qxssf qxssf --compl
exit $((failures > 0))
