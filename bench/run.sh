#!/usr/bin/env bash
# run.sh [FILTER]: builds the benchmarks and prints one table: ours, libcrypto's CMS functions, the ratio
# of the rates (above 1: ours does more in the same time); the same of CAdES, beside what it may cost; then
# memory and time of 256 MB.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install_packages.sh build check bench
cmake --preset release >/dev/null
cmake --build --preset release --target qx_bench_operations qx_bench_cades qx_bench_memory >/dev/null
for program in qx_bench_operations qx_bench_cades; do
  "build/release/bin/$program" --benchmark_filter="${1:-.}" --benchmark_repetitions=5 \
    --benchmark_min_time=0.1 --benchmark_enable_random_interleaving=true
done
build/release/bin/qx_bench_memory
