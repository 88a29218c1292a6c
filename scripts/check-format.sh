#!/usr/bin/env bash
# Fails when a C++ source of the repository differs from what clang-format
# (with the repository's .clang-format) makes of it, and says which.
set -euo pipefail
cd "$(dirname "$0")/.."
if ! command -v clang-format >/dev/null; then
  SUDO=""
  [ "$(id -u)" -ne 0 ] && SUDO="sudo"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends clang-format
fi
status=0
while IFS= read -r file; do
  if ! clang-format --dry-run --Werror "$file" >/dev/null 2>&1; then
    echo "not formatted: $file (run clang-format -i $file)"
    status=1
  fi
done < <(git ls-files '*.cpp' '*.h')
exit $status
