#!/usr/bin/env bash
# install_and_consume.sh BUILD_FOLDER LIBRARY_FOLDER WAY: consumer.sh against nothing but the libraries, and what
# belongs to developing with them, of a build, installed into a folder.
set -euo pipefail
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
for component in library provider development; do
  cmake --install "$1" --component $component --prefix "$work/installed" >"$work/log"
done
"$(dirname "$0")/consumer.sh" "$work/installed" "$2" "$3"
