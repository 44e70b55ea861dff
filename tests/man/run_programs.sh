#!/usr/bin/env bash
# run_programs.sh BIN: what one program of the manual pages makes, the other reads, and nothing else.
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

# is WHAT EXPECTED: standard input is exactly what is expected.
is() {
  local seen
  seen=$(cat)
  [ "$seen" = "$2" ] || { printf '%s: unexpected: %s\n' "$1" "$seen" && exit 1; }
}

manual_sign "CN=Anna Orlova" >signed
manual_verify <signed | is verify "CN=Anna Orlova, O=Lab, C=RU: 0
code 0"
sed 's/Pay 100/Pay 900/' signed >changed
! manual_verify <changed >verdict || { echo "a changed message was verified" && exit 1; }
grep -q ': 27$' verdict
! manual_sign "CN=Nobody" >nothing 2>reason || { echo "nobody signed" && exit 1; }
grep -q '^code 5, result 22$' reason

manual_addsign "CN=Rita Berg" <signed >added
manual_verify <added | sort | is addsign "CN=Anna Orlova, O=Lab, C=RU: 0
CN=Rita Berg, O=Lab, C=RU: 0
code 0"
! manual_addsign "CN=Nobody" <signed >nothing 2>reason || { echo "nobody added a signature" && exit 1; }
grep -q '^code 5, result 22$' reason

manual_envelope "CN=Pavel Fedorov" "CN=Rolf Kern" >enveloped
manual_develope "CN=Pavel Fedorov" <enveloped | is develope "For the eyes of some"
manual_develope "CN=Rolf Kern" <enveloped | is develope "For the eyes of some"
! manual_develope "CN=Anna Orlova" <enveloped >nothing 2>reason || { echo "a stranger decrypted" && exit 1; }
! manual_envelope "CN=Nobody" >nothing 2>reason || { echo "nobody was a recipient" && exit 1; }
grep -q '^CN=Nobody: 26$' reason

manual_digest >hashed
qxssf --json verify hashed >/dev/null 2>&1 && { echo "a hash passed for a signature" && exit 1; }
openssl asn1parse -inform DER -in hashed | grep -q ':pkcs7-digestData'
manual_encode | is encode "Pay 100 to Anna"
manual_queryproperties | is properties "version: $(qxssf version)
formats: $(qxssf properties FORMATS | paste -sd ';')"
