#!/usr/bin/env bash
# Installs the dependencies, builds the release preset and runs the main job.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/setup_debian.sh
cmake --preset release >/dev/null
cmake --build --preset release
./build/release/tools/zelkov_example
