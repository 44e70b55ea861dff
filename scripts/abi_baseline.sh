#!/usr/bin/env bash
# abi_baseline.sh [BUILD_FOLDER]: writes tests/abi/*.abi, the interfaces that callers were built against, anew from
# the libraries of the release build. Only for a change of an interface that is meant, and never for one that
# breaks callers: that one needs another SOVERSION.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/release}
for library in qxsapssf qxprovider; do
  tests/abi/describe.sh "$build/lib/lib$library.so.1" >"tests/abi/$library.abi"
done
