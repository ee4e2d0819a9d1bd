#!/usr/bin/env bash
# Installs what the build needs, builds with warnings as errors and runs every test.
# Pass --sanitize to build and test with AddressSanitizer and UndefinedBehaviorSanitizer instead.
set -euo pipefail
cd "$(dirname "$0")/.."

preset=ci
if [ "${1:-}" = "--sanitize" ]; then
  preset=sanitize
fi

./scripts/bootstrap.sh
cmake --preset "$preset"
cmake --build --preset "$preset"
ctest --preset "$preset"
