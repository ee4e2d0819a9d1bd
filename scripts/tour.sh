#!/usr/bin/env bash
# The main job: installs and builds what it needs, then shows ParvelMac at work.
set -euo pipefail
cd "$(dirname "$0")/.."

./scripts/bootstrap.sh
cmake --preset default >/dev/null
cmake --build --preset default --target parvelmac-first-run
exec ./build/default/tools/parvelmac-first-run "$@"
