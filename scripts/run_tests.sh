#!/usr/bin/env bash
# Installs the dependencies, builds with the given preset (default: release)
# and runs the whole test suite.
set -euo pipefail
cd "$(dirname "$0")/.."
preset=${1:-release}
bash scripts/setup_debian.sh
cmake --preset "$preset" -DZELKOV_WERROR="${ZELKOV_WERROR:-OFF}"
cmake --build --preset "$preset"
ctest --preset "$preset"
