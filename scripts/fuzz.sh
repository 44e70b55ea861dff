#!/usr/bin/env bash
# fuzz.sh TARGET SECONDS: builds fuzz/TARGET.cpp for libFuzzer and runs it. What it finds worth keeping goes
# to build/fuzz/corpus/TARGET, an input that breaks something to build/fuzz/findings/; exit 1 then.
set -euo pipefail
cd "$(dirname "$0")/.."

if [ $# -ne 2 ] || [ ! -f "fuzz/$1.cpp" ]; then
  echo "usage: scripts/fuzz.sh TARGET SECONDS (a target is a folder of fuzz/corpus)" >&2
  exit 2
fi
target=$1 seconds=$2

[ -f build/fuzz/build.ninja ] || cmake --preset fuzz
cmake --build build/fuzz --target "fuzz_$target"
mkdir -p "build/fuzz/corpus/$target" build/fuzz/findings
nice -n 15 "build/fuzz/bin/fuzz_$target" -max_total_time="$seconds" -max_len=20000 -timeout=10 \
  -rss_limit_mb=2048 -print_final_stats=1 -artifact_prefix="build/fuzz/findings/$target-" \
  "build/fuzz/corpus/$target" "fuzz/corpus/$target" || exit 1
