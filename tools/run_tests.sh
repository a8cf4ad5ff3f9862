#!/usr/bin/env bash
# Installs the dependencies, builds with the given preset (default: release)
# and runs the whole test suite.
set -euo pipefail
cd "$(dirname "$0")/.."
preset=${1:-release}
bash tools/setup_debian.sh
cmake --preset "$preset"
cmake --build --preset "$preset"
ctest --preset "$preset"
