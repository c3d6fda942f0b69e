#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Measures how much of src/ its own tests reach, with and without the wide inner loops, and how much of host/ the tests
# of the host and the program reach. Fails below 97 % of the lines or 90 % of the branches of src/, and below 92 % and
# 77 % of those of host/. Branches to exception handlers, and branches that the compiler adds without a line of source,
# do not count. An inline function or template counts once for all its instances.
#   scripts/check_coverage.sh [FILE]    lists the lines that were not reached in FILE, branch by branch
# BUILD_ROOT holds the build (default: build/coverage). JOBS is passed to ninja.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-packages.sh build test coverage
root=${BUILD_ROOT:-build/coverage}
rooms=(model platform imaging preparation field levels contour muscle wall checks interface c_interface)
host_rooms=(host_io host_findings host_export host_run host_decoding apps)

# Decoding workers are killed when they are no longer needed, and they may not write files, so their coverage would be
# lost. With sanitizers, both are different, so this build pretends to have one.
cmake -S . -B "$root" -G Ninja -DCMAKE_BUILD_TYPE=None \
    -DCMAKE_CXX_FLAGS="--coverage -fprofile-update=atomic -O0 -D__SANITIZE_ADDRESS__=1" >/dev/null
ninja -C "$root" ${JOBS:+-j"$JOBS"} "${rooms[@]/%/_tests}" "${host_rooms[@]/%/_tests}" >"$root/build.log" ||
    { cat "$root/build.log" >&2; exit 1; }
ninja -C "$root" -t cleandead >/dev/null # of sources that are gone
find "$root" -name '*.gcno' | while read -r notes; do [ -e "${notes%.gcno}.o" ] || rm "$notes"; done

tests() { # ROOM [VARIABLE=VALUE]
    env "${@:2}" "$root/tests/$1_tests" --gtest_brief=1 >"$root/run.log" 2>&1 || { cat "$root/run.log" >&2; exit 1; }
}
count() { # FOLDER LINES BRANCHES: fails below; the lines that were not reached are added to $uncovered
    local counted=$root/$1.json
    gcovr -r . --filter "$1/" --exclude-throw-branches --exclude-unreachable-branches -j "${JOBS:-$(nproc)}" "$root" \
        --json "$counted"
    gcovr -r . -a "$counted" --txt >>"$uncovered"
    gcovr -r . -a "$counted" --txt --branches | sed '1,/Branches/d' >>"$uncovered"
    echo "$1/:"
    gcovr -r . -a "$counted" --print-summary --fail-under-line "$2" --fail-under-branch "$3" -o "$root/$1.txt"
}
uncovered=${1:-$root/uncovered.txt}
true >"$uncovered"
find "$root" -name '*.gcda' -delete
for room in "${rooms[@]}"; do
    tests "$room"
    tests "$room" NORVANE_TEST_BASELINE=1
done
count src 97 90
for room in "${host_rooms[@]}"; do
    tests "$room"
done
count host 92 77
