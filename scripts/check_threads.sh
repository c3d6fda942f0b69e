#!/usr/bin/env bash
# Calls the library from 8 threads at once under ThreadSanitizer (tests/interface/threads_test.cpp), with both
# compilations of the inner loops. There must be no report, and the results must be those of one thread.
#   scripts/check_threads.sh [rounds]
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-packages.sh build test
cmake --preset tsan >/dev/null
cmake --build --preset tsan --target interface_tests ${JOBS:+-j"$JOBS"}
export NORVANE_TEST_THREAD_ROUNDS=${1:-20} TSAN_OPTIONS=halt_on_error=1
for baseline in "" NORVANE_TEST_BASELINE=1; do
    env ${baseline:+"$baseline"} build/tsan/tests/interface_tests --gtest_filter='Threads.*' --gtest_brief=1
done
