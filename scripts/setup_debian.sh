#!/usr/bin/env bash
# Installs what building, testing and benchmarking need on Debian 12 (as root).
set -euo pipefail
export DEBIAN_FRONTEND=noninteractive
packages=(g++ cmake ninja-build pkg-config binutils libcli11-dev nlohmann-json3-dev doxygen
          libtbb-dev libeigen3-dev libboost-dev libgtest-dev libbenchmark-dev
          python3-dev pybind11-dev python3-numpy python3-pytest python3-distributed python3-matplotlib
          python3-pip python3-setuptools python3-wheel python3-venv)
missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
    apt-get update -qq
    apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
