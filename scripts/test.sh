#!/usr/bin/env bash
# Installs what the tests need (Debian), builds and runs all tests. If one cannot run here, that is a failure.
#   scripts/test.sh [--quick] [argument of ctest...]
# --quick: leaves out the tests that need a browser or a server (Chromium, Orthanc, Slurm, Dask), and does not install
# these.
set -euo pipefail
cd "$(dirname "$0")/.."
purposes=(build test python)
may_skip=ON
if [ "${1:-}" = --quick ]; then
    shift
    set -- --label-exclude needs_server "$@"
else
    purposes+=(browser dask orthanc slurm)
    may_skip=OFF
fi
scripts/install-packages.sh "${purposes[@]}"
python3 scripts/check_layers.py
cmake --preset release -DNORVANE_WERROR=ON -DNORVANE_BUILD_PYTHON=ON -DNORVANE_TESTS_MAY_SKIP=$may_skip >/dev/null
cmake --build --preset release
ctest --preset release -j"$(nproc)" "$@"
