#!/usr/bin/env bash
# lint.sh [-p BUILD_FOLDER] [--quick | FILES...]: clang-format and clang-tidy as errors, over the given files or all.
# --quick formats all files too, but lints the sources without the tests and without clang's analyzer.
set -euo pipefail
cd "$(dirname "$0")/.."
build=build/clang
quick=no
if [ "${1:-}" = -p ]; then
  build=$2
  shift 2
fi
if [ "${1:-}" = --quick ]; then
  quick=yes
  shift
fi
if [ $# -gt 0 ]; then
  files=("$@")
else
  mapfile -t files < <(git ls-files '*.c' '*.cpp' '*.h')
fi
clang-format-19 --dry-run --Werror "${files[@]}"

sources=()
for file in "${files[@]}"; do
  case $quick:$file in
    yes:tests/*) ;;
    *.c | *.cpp) sources+=("$file") ;;
  esac
done
[ ${#sources[@]} -eq 0 ] && exit 0
options=()
[ $quick = yes ] && options+=('--checks=-clang-analyzer-*')
printf '%s\n' "${sources[@]}" | scripts/lint_together.py "$build" "${options[@]}"
