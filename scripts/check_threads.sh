#!/usr/bin/env bash
# The library called by 8 threads at once, under ThreadSanitizer (tests/pect/threads_test.cpp): no report, and the results
# of one thread. Both compilations of the inner loops.
#   scripts/check_threads.sh [rounds]
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-packages.sh build test
cmake --preset tsan >/dev/null
cmake --build --preset tsan --target pect_tests ${JOBS:+-j"$JOBS"}
export NORVANE_TEST_THREAD_ROUNDS=${1:-20} TSAN_OPTIONS=halt_on_error=1
for baseline in "" NORVANE_TEST_BASELINE=1; do
    env ${baseline:+"$baseline"} build/tsan/tests/pect_tests --gtest_filter='Threads.*' --gtest_brief=1
done
