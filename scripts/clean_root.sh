#!/usr/bin/env bash
# clean_root.sh [PACKAGES_FOLDER]: makes a fresh Debian 12 with mmdebstrap, which has no compiler, and types there what
# docs/installation.md shows: the packages are installed, used, upgraded and removed. The packages are those of
# scripts/package.sh, which is run when there are none. Needs the package mirror, and to be root or to have user
# namespaces.
set -euo pipefail
cd "$(dirname "$0")/.."
packages=${1:-build/release/packages}

scripts/install_packages.sh root
if ! compgen -G "$packages/*.deb" >/dev/null; then
  scripts/package.sh
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/packages" "$work/newer"
cp "$packages"/{libqxsapssf1,libqxprovider1,qxssf-tools}_*.deb "$work/packages"

# The next version of each, for the upgrade.
for package in "$work"/packages/*.deb; do
  dpkg-deb --raw-extract "$package" "$work/tree"
  version=$(dpkg-deb --field "$package" Version)
  sed -i -E "/^(Version|Depends):/s/$version/${version%-*}-99/" "$work/tree/DEBIAN/control"
  dpkg-deb --root-owner-group -Znone --build "$work/tree" "$work/newer" >/dev/null
  rm -r "$work/tree"
done

# Blocks of the superuser run as they are, those of the user as a user.
awk '
  $0 == "```sh superuser" { on = 1; next }
  $0 == "```sh user" { on = 1; print "runuser -l sidadm -c \"bash -eux\" <<\"EndOfBlock\""; user = 1; next }
  /^```/ { if (user) print "EndOfBlock"; on = 0; user = 0; next }
  on' docs/installation.md >"$work/commands"
grep -q EndOfBlock "$work/commands"

# Of the two that Debian offers for each, the small ones.
cat >"$work/run" <<'END'
set -eux
export DEBIAN_FRONTEND=noninteractive
for tool in cc gcc g++ clang make cmake; do
  if command -v $tool; then exit 1; fi
done
apt-get install -y --no-install-recommends systemd-standalone-sysusers systemd-standalone-tmpfiles >/dev/null
useradd --create-home sidadm
cd /srv/packages
. /srv/commands
test ! -e /usr/bin/qxssf
test ! -e /etc/qxprovider
test ! -e /usr/lib/x86_64-linux-gnu/libqxsapssf.so.1
END
mmdebstrap --variant=apt --format=null \
  --customize-hook="copy-in $work/packages $work/newer $work/commands $work/run /srv" \
  --customize-hook="chroot \"\$1\" bash /srv/run" \
  bookworm /dev/null
