#!/usr/bin/env bash
# Checks that results are the same to the bit everywhere: builds the library with several compilers and options and for
# several processors, and compares a hash over everything that it computes from random images
# (tests/determinism/result_hash.cpp).
#   scripts/check_determinism.sh [--short] [images]
# --short: only GCC -O2 and Clang -O2. BUILD_ROOT holds the builds (default: build/determinism). JOBS is passed to
# ninja.
set -euo pipefail
cd "$(dirname "$0")/.."
short=false
if [ "${1:-}" = --short ]; then short=true; shift; fi
images=${1:-500}
root=${BUILD_ROOT:-build/determinism}
scripts/install-packages.sh build determinism
$short || scripts/install-packages.sh cross

# build NAME COMPILER OPTIONS...: builds $root/NAME/result_hash, with the project's own flags after the options.
build() {
    local name=$1 compiler=$2 at=$root/$1
    shift 2
    cmake -S . -B "$at" -G Ninja -DCMAKE_BUILD_TYPE=None -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="$*" \
        -DNORVANE_BUILD_TOOLS=OFF -DNORVANE_BUILD_TESTS=OFF -DNORVANE_BUILD_RESULT_HASH=ON >/dev/null
    ninja -C "$at" ${JOBS:+-j"$JOBS"} result_hash >"$at/build.log" || { cat "$at/build.log" >&2; exit 1; }
}

expected=
failed=false
# compare LABEL COMMAND...
compare() {
    local label=$1 hash
    shift
    hash=$("$@" "$images" 2>/dev/null)
    [ -n "$expected" ] || expected=$hash
    local verdict=equal
    [ "$hash" = "$expected" ] || { verdict=DIFFERENT; failed=true; }
    printf '%-44s %s %s\n' "$label" "$hash" "$verdict"
}

build gcc-O2 g++ -O2
build clang-O2 clang++ -O2
program=$root/gcc-O2/tests/determinism/result_hash
compare "gcc -O2" "$program"
compare "gcc -O2, baseline loops" env NORVANE_TEST_BASELINE=1 "$program"
compare "gcc -O2, libm without AVX2 and FMA" env GLIBC_TUNABLES=glibc.cpu.hwcaps=-AVX2,-FMA,-FMA4 "$program"
compare "clang -O2" "$root/clang-O2/tests/determinism/result_hash"
if ! $short; then
    build gcc-O0 g++ -O0
    build gcc-O3 g++ -O3
    build gcc-O3-native g++ -O3 -march=native
    build aarch64-O2 aarch64-linux-gnu-g++ -O2
    for name in gcc-O0 gcc-O3 gcc-O3-native; do
        compare "${name//-/ -}" "$root/$name/tests/determinism/result_hash"
    done
    compare "aarch64 gcc -O2, emulated" qemu-aarch64 -L /usr/aarch64-linux-gnu "$root/aarch64-O2/tests/determinism/result_hash"
fi
if $failed; then
    echo "check_determinism.sh: results differ; NORVANE_HASH_EACH=1 prints a hash per image" >&2
    exit 1
fi
