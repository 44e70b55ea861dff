#!/usr/bin/env bash
# soak.sh MINUTES: builds the library and has it work for so long: 2 processes with 8 threads each sign,
# verify, add signers, envelope, develope, digest, copy and ask, as people with keys of each kind, with right
# and wrong PINs, with and without time stamps, over 100 bytes to 100 KB, while certificates, keys, revocation
# lists and answers about certificates come and go. A third process gives these answers and the time stamps,
# on loopback; a quarter of the time it gives none, or wrong ones.
# Each process prints forty times how many operations it made a second, how many signatures were given time
# stamps and how many could not be, and, with no thread at work, how much memory is resident and how many
# descriptors are open. Exit 1 when
#   - any answer was wrong (each is told on standard error), or
#   - a process had only answers of the time-stamp server that were good, or none, or
#   - the median of open descriptors in the last quarter is above that of the second quarter, or
#   - the median of resident memory in the last quarter is above that of the second quarter by more than 5 %
#     and more than 4 MB.
set -euo pipefail
cd "$(dirname "$0")/.."

if [ $# -ne 1 ] || ! [[ $1 =~ ^[1-9][0-9]*$ ]]; then
  echo "usage: scripts/soak.sh MINUTES" >&2
  exit 2
fi
scripts/install_packages.sh build check
cmake --preset release >/dev/null
cmake --build --preset release --target qx_soak >/dev/null
if build/release/bin/qx_soak $(($1 * 60)); then
  echo "soak: good"
else
  echo "soak: failed, see above" >&2
  exit 1
fi
