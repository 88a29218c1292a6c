#!/usr/bin/env bash
# Builds everything under AddressSanitizer and UndefinedBehaviorSanitizer and
# runs the tests headless.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
build=${KVC_TEST_BUILD_DIR:-build-tests}
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Debug -DKVC_SANITIZE=ON -DKVC_BUILD_TESTS=ON \
      -DKVC_BUILD_BENCH=OFF
cmake --build "$build" -j"$(nproc)"
cd "$build"
QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j"$(nproc)" "$@"
