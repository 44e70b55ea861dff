#!/usr/bin/env bash
# run_blocks.sh BIN DOCUMENT: runs the blocks of commands (```sh) of a document, one after the other, with the tools of
# BIN, as a user who has nothing yet but the files that the document speaks of. The first command that fails ends it.
set -euo pipefail
PATH=$1:$PATH
document=$(realpath "$2")

# What is tested is not how long a guess at a PIN takes.
export QXPROVIDER_PIN_KDF_ROUNDS=1000
unset QXPROVIDER_USER_DIR QXPROVIDER_MACHINE_DIR QXPROVIDER_CONF XDG_DATA_HOME XDG_CONFIG_HOME

umask 077
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/home" "$work/here" "$work/machine"
export HOME=$work/home QXPROVIDER_MACHINE_DIR=$work/machine SSF_LIBRARY_PATH=$1/../lib/libqxsapssf.so.1
cd "$work/here"
cp "$document" .

qxprovider lab create "$work/lab" >/dev/null
user=$work/lab/user
for of in Root CA; do
  for kind in cer crl; do
    cp "$user/stores/$of/Lab_GOST_$of"-*."$kind" "$(tr '[:upper:]' '[:lower:]' <<<$of).$kind"
  done
done
cp "$user/stores/My/Pavel_Fedorov"-*.cer partner.cer
echo "a password for the way" >transport.pass
echo "a PIN of many words" >key.pin
anna=$(echo "$user/stores/My/Anna_Orlova"-*.cer)
key=$(openssl x509 -engine gost -inform DER -in "$anna" -noout -pubkey 2>/dev/null)
for file in "$user"/keys/*; do
  [ "$(openssl pkey -engine gost -in "$file" -passin pass: -pubout 2>/dev/null)" = "$key" ] && break
done
openssl x509 -inform DER -in "$anna" -out anna.pem
openssl pkcs12 -engine gost -export -inkey "$file" -in anna.pem -out anna.p12 -passout file:transport.pass \
  -keypbe AES-256-CBC -certpbe AES-256-CBC -macalg SHA256 2>/dev/null
rm -r anna.pem "$work/lab"

awk '/^```/ { on = ($0 == "```sh"); next } on' "$document" >"$work/commands"
[ -s "$work/commands" ] || { echo "no commands in $document" >&2 && exit 1; }
bash -euo pipefail -x "$work/commands"
