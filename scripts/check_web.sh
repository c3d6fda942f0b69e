#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Compiles the library to WebAssembly and checks that it gives the bits of the native one: the hash of random images, the
# npm package in Node.js, and the page in Chromium.
#   scripts/check_web.sh [NORVANE]      without the program, it is built in build/release
# BUILD_ROOT holds the build (default: build/web). JOBS is passed to ninja.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(realpath -m "${BUILD_ROOT:-build/web}")
images=60 expected=ece5ffcd3c871f0e # scripts/check_determinism.sh prints the same for so many images
scripts/install-packages.sh build web browser
command -v npm >/dev/null || scripts/install-packages.sh npm # Debian's, which goes with its Node.js alone
command -v node >/dev/null || { echo "check_web.sh: needs Node.js" >&2; exit 2; }
norvane=${1:-}
if [ -z "$norvane" ]; then
    cmake --preset release -B build/release -DNORVANE_BUILD_TESTS=OFF >/dev/null
    cmake --build build/release --target norvane-cli >&2
    norvane=build/release/apps/norvane/norvane
fi

# If Node.js is not Debian's, Emscripten does not find Debian's modules by itself.
export NODE_PATH=/usr/share/nodejs
mkdir -p "$root"
emcmake cmake -S . -B "$root" -G Ninja -DCMAKE_BUILD_TYPE=Release -DBUILD_SHARED_LIBS=OFF -DNORVANE_INSTALL=OFF \
    -DNORVANE_BUILD_TOOLS=OFF -DNORVANE_BUILD_TESTS=OFF -DNORVANE_BUILD_RESULT_HASH=ON -DNORVANE_BUILD_WEB=ON \
    >"$root/configure.log" 2>&1 || { cat "$root/configure.log" >&2; exit 1; }
ninja -C "$root" ${JOBS:+-j"$JOBS"} norvane_page result_hash >"$root/build.log" || { cat "$root/build.log" >&2; exit 1; }

hash=$(node "$root/tests/determinism/result_hash.js" $images 2>/dev/null)
echo "hash of $images images: $hash"
[ "$hash" = $expected ] || { echo "check_web.sh: it should be $expected" >&2; exit 1; }
echo "norvane.wasm: $(stat -c %s "$root/web/norvane.wasm") bytes"
NORVANE=$(realpath "$norvane") PACKAGE=$root/web/norvane node --test --test-reporter=spec web/tests/package_test.mjs
/usr/bin/python3 scripts/check_web_page.py "$norvane" "$root/web/norvane.html"
