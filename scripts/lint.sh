#!/usr/bin/env bash
# lint.sh [-p BUILD_FOLDER] [FILES...]: clang-format and clang-tidy as errors, over the given files or all.
set -euo pipefail
cd "$(dirname "$0")/.."
build=build/clang
if [ "${1:-}" = -p ]; then
  build=$2
  shift 2
fi
if [ $# -gt 0 ]; then
  files=("$@")
else
  mapfile -t files < <(git ls-files '*.c' '*.cpp' '*.h')
fi
clang-format-19 --dry-run --Werror "${files[@]}"
sources=()
for file in "${files[@]}"; do
  case $file in *.c | *.cpp) sources+=("$file") ;; esac
done
[ ${#sources[@]} -eq 0 ] && exit 0
printf '%s\0' "${sources[@]}" | xargs -0 -n 1 -P "$(nproc)" clang-tidy-19 -p "$build" --quiet
