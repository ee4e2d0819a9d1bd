#!/usr/bin/env bash
# The main job: installs and builds what it needs, then runs ParvelMac on the simulated Mac
# through the tour scenario (or the scenario given as the first argument) and prints its trace.
set -euo pipefail
cd "$(dirname "$0")/.."

./scripts/bootstrap.sh
cmake --preset default >/dev/null
cmake --build --preset default --target parvelmac-sim
exec ./build/default/tools/parvelmac-sim "${1:-tests/scenarios/tour.scenario}"
