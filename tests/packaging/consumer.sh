#!/usr/bin/env bash
# consumer.sh INSTALLED LIBRARY_FOLDER find_package|pkg-config|flags: builds a C program against the tree of
# libraries and headers below INSTALLED, and runs it.
set -euo pipefail
root=$1
libraries=$2
way=$3
here=$(cd "$(dirname "$0")" && pwd)

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# Warnings of our headers are errors to others, too.
strict=(-std=c11 -Wall -Wextra -Wpedantic -Werror)
case $way in
  find_package)
    cmake -S "$here/find_package" -B "$work/build" -DCMAKE_PREFIX_PATH="$root" >"$work/log"
    cmake --build "$work/build" >"$work/log"
    mv "$work/build/consumer" "$work/consumer"
    ;;
  pkg-config)
    export PKG_CONFIG_PATH=$root/$libraries/pkgconfig
    read -ra flags <<<"$(pkg-config --cflags --libs qxsapssf)"
    cc "${strict[@]}" "$here/consumer.c" "${flags[@]}" -o "$work/consumer"
    ;;
  flags)
    cc "${strict[@]}" "$here/consumer.c" -I"$root/include" -I"$root/include/qxsapssf" \
      -L"$root/$libraries" -lqxsapssf -o "$work/consumer"
    ;;
  *)
    echo "unknown way: $way" >&2
    exit 1
    ;;
esac
export LD_LIBRARY_PATH=$root/$libraries
ldd "$work/consumer" | grep -F "$root/$libraries/libqxprovider.so.1" >"$work/log"
"$work/consumer" | grep .
