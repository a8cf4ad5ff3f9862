#!/usr/bin/env bash
# Installs the dependencies, builds the release preset and runs the main job.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup_debian.sh
cmake --preset release >/dev/null
cmake --build --preset release --target zelkov
./build/release/tools/zelkov simplify --ratio 0.1 -o build/release/default_mesh_simplified.ply
