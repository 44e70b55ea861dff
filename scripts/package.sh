#!/usr/bin/env bash
# package.sh: builds the Debian packages in build/release/packages: libqxsapssf1, libqxprovider1,
# libqxsapssf-dev and qxssf-tools. An error that lintian finds ends the script.
set -euo pipefail
cd "$(dirname "$0")/.."
build=build/release
packages=$build/packages

scripts/install_packages.sh build package
cmake --preset release -DCMAKE_INSTALL_LIBDIR:STRING="lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)" >/dev/null
cmake --build --preset release --target qxsapssf qxprovider qxssf qxprovider_tool completions manual
rm -rf "$packages"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
if ! (umask 022 && cd $build && cpack) >"$log" 2>&1; then
  cat "$log" >&2
  exit 1
fi
rm -rf "$packages/_CPack_Packages"
ls "$packages"/*.deb
# Nobody asked Debian for these packages, so there is no bug to close.
lintian --allow-root --fail-on error --suppress-tags initial-upload-closes-no-bugs "$packages"/*.deb
