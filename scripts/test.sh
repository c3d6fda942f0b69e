#!/usr/bin/env bash
# Installs what the tests need (Debian), builds and runs all tests. Further arguments go to ctest.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-packages.sh build test python
python3 scripts/check_layers.py
cmake --preset release -DNORVANE_WERROR=ON -DNORVANE_BUILD_PYTHON=ON >/dev/null
cmake --build --preset release
ctest --preset release -j"$(nproc)" "$@"
