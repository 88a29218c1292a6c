#!/usr/bin/env bash
# The main job: builds the release, then runs the bundled example model on the
# reference simulator through the library, monitored automatically.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
build=${KVC_BUILD_DIR:-build}
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DKVC_BUILD_TESTS=OFF -DKVC_BUILD_BENCH=OFF \
      -DKVC_EXPORT_INTERNALS=ON
cmake --build "$build" -j"$(nproc)"
exec "$build/bin/kivo-run" "${@:-examples/heat1d.lua}"
