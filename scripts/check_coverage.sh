#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# How much of src/ its own tests reach (those of the tools are left out), with the wide inner loops and without. Fails
# below 97 % of the lines or 90 % of the branches. Branches to exception handlers and those that the compiler adds
# without a line of source do not count; an inline function or template counts once for all its instances.
#   scripts/check_coverage.sh [FILE]    the lines that were not reached go to FILE, branch by branch, if it is named
# BUILD_ROOT holds the build (build/coverage without it), JOBS is passed to ninja.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-packages.sh build test coverage
root=${BUILD_ROOT:-build/coverage}
rooms=(model platform imaging masking contour pect)

cmake -S . -B "$root" -G Ninja -DCMAKE_BUILD_TYPE=None -DCMAKE_CXX_FLAGS="--coverage -fprofile-update=atomic -O0" \
    -DNORVANE_BUILD_TOOLS=OFF >/dev/null
ninja -C "$root" ${JOBS:+-j"$JOBS"} "${rooms[@]/%/_tests}" >"$root/build.log" || { cat "$root/build.log" >&2; exit 1; }
ninja -C "$root" -t cleandead >/dev/null # of sources that are gone
find "$root" -name '*.gcno' | while read -r notes; do [ -e "${notes%.gcno}.o" ] || rm "$notes"; done
find "$root" -name '*.gcda' -delete
for room in "${rooms[@]}"; do
    for wide in env "env NORVANE_TEST_BASELINE=1"; do
        $wide "$root/tests/${room}_tests" --gtest_brief=1 >"$root/run.log" 2>&1 || { cat "$root/run.log" >&2; exit 1; }
    done
done

counted=$root/counted.json
gcovr -r . --filter src/ --exclude-throw-branches --exclude-unreachable-branches -j "${JOBS:-$(nproc)}" "$root" \
    --json "$counted"
if [ $# -gt 0 ]; then
    gcovr -r . -a "$counted" --txt "$1"
    gcovr -r . -a "$counted" --txt --branches | sed '1,/Branches/d' >>"$1"
fi
gcovr -r . -a "$counted" --print-summary --fail-under-line 97 --fail-under-branch 90 -o "$root/summary.txt"
