#!/usr/bin/env bash
# Builds Release, runs the benchmarks on one pinned core (the one with two threads on two) and prints a table: work, our
# time, yardstick, ratio, target, met or not. Then it shows what the page of a run costs as it grows. Arguments are
# passed to the benchmark program (--benchmark_filter=...); then the page is left out.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-packages.sh build test bench browser
cmake --preset release -DNORVANE_BUILD_BENCH=ON >/dev/null
cmake --build --preset release --target norvane_bench norvane_program_bench host_run_tests
program=build/release/bench/norvane_bench
results=$(mktemp -d)
trap 'rm -rf "$results"' EXIT
taskset -c 1 "$program" --benchmark_out="$results/one.json" --benchmark_out_format=json --benchmark_filter=-two_threads "$@" >/dev/null
[ $# -gt 0 ] || "$program" --benchmark_out="$results/two.json" --benchmark_out_format=json --benchmark_filter=two_threads >/dev/null
# Some of these start processes, so they are not pinned to one core.
[ $# -gt 0 ] || build/release/bench/norvane_program_bench --benchmark_out="$results/program.json" --benchmark_out_format=json >/dev/null
python3 scripts/bench_table.py "$results"/*.json
[ $# -gt 0 ] || /usr/bin/python3 bench/page_opening.py build/release/tests/host_run_tests
