#!/bin/sh
# Soak benchmark (not part of CI): builds a release with the benchmarks, then
# follows one simulated hour of examples/soak-hour.lua through the whole client
# chain and checks that memory grows only with the stored data. Takes about
# 6-8 minutes. Arguments go to bench_soak (e.g. --pace 0.005 --interval 2).
# The output is kept in build-bench/soak/soak-<UTC time>.txt; exit code is
# bench_soak's (0: memory grew only with stored data).
set -eu
cd "$(dirname "$0")/.."
cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DKVC_BUILD_BENCH=ON -DKVC_BUILD_TESTS=OFF
cmake --build build-bench -j2 --target bench_soak kivo
mkdir -p build-bench/soak
out="build-bench/soak/soak-$(date -u +%Y%m%dT%H%M%SZ).txt"
echo "soak output: $out"
status=0
QT_QPA_PLATFORM=offscreen build-bench/bin/bench_soak "$@" 2>&1 | tee "$out" || true
# The pipeline's status is tee's; take the benchmark's from its last line.
tail -n 1 "$out" | grep -q '^memory grew only with stored data$' || status=1
exit $status
