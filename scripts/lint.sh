#!/usr/bin/env bash
# lint.sh [-p BUILD_FOLDER] [--quick | --since COMMIT | FILES...]: clang-format and clang-tidy as errors, over the given
# files or all.
#   --quick          checks the form of all files too, but lints the sources without the tests and without clang's analyzer
#   --since COMMIT   what changed since then, committed or not, and whatever includes it
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

# with_includers FILE...: the files, and those that include one of them, directly or not.
with_includers() {
  local -A seen=()
  local file
  while [ $# -gt 0 ]; do
    file=$1
    shift
    [ -n "${seen[$file]:-}" ] && continue
    seen[$file]=yes
    echo "$file"
    case $file in
      *.h) mapfile -t includers < <(git grep -lF --untracked "#include \"$file\"" -- '*.c' '*.cpp' '*.h') ;;
      *) includers=() ;;
    esac
    set -- "$@" "${includers[@]}"
  done
}

if [ "${1:-}" = --since ]; then
  mapfile -t changed < <(git diff --name-only --diff-filter=d "$2" -- '*.c' '*.cpp' '*.h' &&
    git ls-files --others --exclude-standard '*.c' '*.cpp' '*.h')
  mapfile -t files < <(with_includers "${changed[@]}")
  [ ${#files[@]} -eq 0 ] && exit 0
elif [ $# -gt 0 ]; then
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
