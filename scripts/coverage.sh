#!/usr/bin/env bash
# coverage.sh [CTEST_REGEX]: builds the preset coverage, runs the tests (all, or those whose names match) and
# prints for each file of qxsapssf/ and provider/ which lines no test reaches, then the line coverage of both
# folders. Exit 1 when a test fails, or when qxsapssf/ is below 98 % or provider/ below 90 %.
set -euo pipefail
cd "$(dirname "$0")/.."
build=build/coverage
profiles=$PWD/$build/profiles

scripts/install_packages.sh build check
cmake --preset coverage >/dev/null
# Programs that are asked for their tests while they are built count for nothing.
LLVM_PROFILE_FILE=/dev/null cmake --build --preset coverage >/dev/null
rm -rf "$profiles"
mkdir "$profiles"
# Runs of one program are merged into a few files.
LLVM_PROFILE_FILE="$profiles/%4m.profraw" ctest --preset coverage -j "$(nproc)" -R "${1:-.}"
llvm-profdata-19 merge --sparse -o "$profiles/all.profdata" "$profiles"/*.profraw

# A line is covered when any of the programs and libraries reached it.
objects=()
while IFS= read -r file; do
  if readelf -S --wide "$file" 2>/dev/null | grep -q __llvm_covmap; then
    objects+=("--object=$file")
  fi
done < <(find $build/bin $build/lib -type f)
llvm-cov-19 export --format=lcov --instr-profile="$profiles/all.profdata" "${objects[@]}" \
  --sources "$PWD/qxsapssf" "$PWD/provider" >"$profiles/all.lcov"
scripts/uncovered_lines.py "$profiles/all.lcov" qxsapssf=98 provider=90
