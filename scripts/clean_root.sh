#!/usr/bin/env bash
# clean_root.sh [--developer]: tries the packages of scripts/package.sh, which is run when there are none, in a fresh
# Debian 12 made by mmdebstrap. Needs the package mirror, and to be root or to have user namespaces.
#   clean_root.sh              types there, without a compiler, what docs/installation.md shows: the packages are
#                              installed, used, upgraded and removed
#   clean_root.sh --developer  builds a C program there with the package for developing, in each way
set -euo pipefail
cd "$(dirname "$0")/.."
built=build/release/packages

case "${1:-}" in
  "") packages=(libqxsapssf1 libqxprovider1 qxssf-tools) ;;
  --developer) packages=(libqxsapssf1 libqxprovider1 libqxsapssf-dev) ;;
  *)
    echo "usage: scripts/clean_root.sh [--developer]" >&2
    exit 1
    ;;
esac

scripts/install_packages.sh root
if ! compgen -G "$built/*.deb" >/dev/null; then
  scripts/package.sh
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/srv/packages" "$work/srv/newer"
for name in "${packages[@]}"; do
  cp "$built/${name}"_*.deb "$work/srv/packages"
done

# next_versions makes the next version of each package, for the upgrade.
next_versions() {
  local package version
  for package in "$work"/srv/packages/*.deb; do
    dpkg-deb --raw-extract "$package" "$work/tree"
    version=$(dpkg-deb --field "$package" Version)
    sed -i -E "/^(Version|Depends):/s/$version/${version%-*}-99/" "$work/tree/DEBIAN/control"
    dpkg-deb --root-owner-group -Znone --build "$work/tree" "$work/srv/newer" >/dev/null
    rm -r "$work/tree"
  done
}

# shown_commands DOCUMENT prints its blocks of the superuser as they are, and those of the user as a user's.
shown_commands() {
  awk '
    $0 == "```sh superuser" { on = 1; next }
    $0 == "```sh user" { on = 1; user = 1; print "runuser -l sidadm -c \"bash -eux\" <<\"EndOfBlock\""; next }
    /^```/ { if (user) print "EndOfBlock"; on = 0; user = 0; next }
    on' "$1"
}

if [ "${1:-}" = --developer ]; then
  cp -r tests/packaging "$work/srv/consumer"
  cat >"$work/srv/run" <<'END'
apt-get install -y --no-install-recommends gcc libc6-dev pkg-config cmake make /srv/packages/*.deb >/dev/null
for way in find_package pkg-config flags; do
  /srv/consumer/consumer.sh /usr lib/x86_64-linux-gnu $way
done
END
else
  next_versions
  shown_commands docs/installation.md >"$work/srv/commands"
  grep -q EndOfBlock "$work/srv/commands"
  # Of the two programs that Debian offers for each of group and folders, the small ones.
  cat >"$work/srv/run" <<'END'
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
fi

export DEBIAN_FRONTEND=noninteractive
mmdebstrap --variant=apt --format=null \
  --customize-hook="copy-in $work/srv /" \
  --customize-hook="chroot \"\$1\" bash -eux /srv/run" \
  bookworm /dev/null
