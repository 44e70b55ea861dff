#!/usr/bin/env bash
# sign_and_verify.sh BIN: what the program of SsfSign(3) makes, that of SsfVerify(3) verifies, and nothing else.
set -euo pipefail
PATH=$1:$PATH

# What is tested is not how long a guess at a PIN takes.
export QXPROVIDER_PIN_KDF_ROUNDS=1000

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
qxprovider lab create lab >/dev/null
# shellcheck source=/dev/null
. lab/environment

manual_sign "CN=Anna Orlova" >signed
verdict=$(manual_verify <signed)
[ "$verdict" = "CN=Anna Orlova, O=Lab, C=RU: 0
code 0" ] || { echo "unexpected: $verdict" && exit 1; }

sed 's/Pay 100/Pay 900/' signed >changed
! manual_verify <changed >verdict || { echo "a changed message was verified" && exit 1; }
grep -q ': 27$' verdict
! manual_sign "CN=Nobody" >nothing 2>reason || { echo "nobody signed" && exit 1; }
grep -q '^code 5, result 22$' reason
