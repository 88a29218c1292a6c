#!/usr/bin/env bash
# The main job: builds the release, then runs the bundled example model on the
# reference simulator in kivo-studio, monitored automatically, headless when
# there is no display. Writes build/main-job/kivo-studio.png and
# build/main-job/summary.txt; exits 0 only if the execution finished.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
scripts/install-deps.sh
build=${KVC_BUILD_DIR:-build}
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DKVC_BUILD_TESTS=OFF -DKVC_BUILD_BENCH=OFF
cmake --build "$build" -j"$(nproc)"
out="$root/$build/main-job"
model=$(realpath "${1:-examples/heat1d.lua}")
mkdir -p "$out"
# The simulator writes the model's output files into its working directory:
# keep them with the picture and the summary.
cd "$out"
exec "$root/$build/bin/kivo-studio" --headless --screenshot "$out/kivo-studio.png" \
     --summary "$out/summary.txt" "$model"
