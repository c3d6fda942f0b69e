#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Opens a DICOM SEG of each kind in the readers of other projects and prints a table. The readers come from the npm
# registry and from Debian, so this check needs the network (and about five minutes); the tests do not call it.
#   scripts/check_readers.sh [NORVANE]      without the program, it is built in build/readers
# NORVANE_READERS=FOLDER keeps the packages of npm in FOLDER for the next run.
set -euo pipefail
cd "$(dirname "$0")/.."
# The adapters import @babel/runtime without asking for it.
packages=(dcmjs@0.52.0 @cornerstonejs/adapters@5.14.0 @itk-wasm/dicom@7.6.4 @babel/runtime@7.28.4)

node=$(node --version 2>/dev/null || echo none)
major=${node#v}
major=${major%%.*}
if [ "$node" = none ] || [ "$major" -lt 20 ] || ! command -v npm >/dev/null; then
    echo "check_readers.sh: needs Node.js with npm. It was tried with version 20; dcmjs asks for 22.13; here: $node" >&2
    exit 2
fi
scripts/install-packages.sh build test python

norvane=${1:-}
if [ -z "$norvane" ]; then
    cmake --preset release -B build/readers -DNORVANE_BUILD_TESTS=OFF >/dev/null
    cmake --build build/readers --target norvane-cli >&2
    norvane=build/readers/apps/norvane/norvane
fi
readers=${NORVANE_READERS:-$(mktemp -d)}
[ -n "${NORVANE_READERS:-}" ] || trap 'rm -rf "$readers"' EXIT
mkdir -p "$readers"
npm install --prefix "$readers" --ignore-scripts --no-audit --no-fund --loglevel=error "${packages[@]}" >&2
/usr/bin/python3 scripts/check_readers.py "$norvane" "$readers"
