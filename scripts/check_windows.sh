#!/usr/bin/env bash
# Tests the library for 64-bit Windows: cross-compiles it with its interface for C and its tests (mingw-w64), runs the
# tests under Wine, compares the hash over the results of 60 images with the one that the tests expect, makes the ZIP, and
# builds and runs hosts in C++ and C that only know the unpacked ZIP.
#   scripts/check_windows.sh [options of cmake...]
# BUILD_ROOT holds the build (default: build). JOBS is passed to ninja.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-packages.sh build test windows
root=${BUILD_ROOT:-$PWD/build}
windows=$root/windows
jobs=${JOBS:-$(nproc)}
export PATH=$PATH:/usr/lib/wine # Debian's wine64
# Wine's folder has links to the whole machine, which searches of the build folder would follow.
WINEPREFIX=$(mktemp -d)
export WINEPREFIX WINEDEBUG=-all
trap 'wineserver64 --kill --wait; rm -rf "$WINEPREFIX"' EXIT

cmake --preset windows -B "$windows" "$@" >/dev/null
ninja -C "$windows" -j"$jobs"
wine64 wineboot --init >/dev/null 2>&1
ctest --test-dir "$windows" -j"$jobs" --output-on-failure --timeout 300

expected=$(sed -n 's/.*EXPECT_EQ(0x\([0-9A-F]*\)U, all.value.*/\L\1/p' tests/interface/threads_test.cpp)
got=$(wine64 "$windows/tests/determinism/result_hash.exe" 60 2>/dev/null | tr -d '\r')
echo "hash of 60 images: $got under Wine, $expected expected"
[ "$got" = "$expected" ]

rm -rf "$windows"/packages "$windows"/unpacked "$windows"/host
cpack --config "$windows/CPackConfig.cmake" -G ZIP -B "$windows/packages" >/dev/null
cmake -E make_directory "$windows/unpacked"
zip=$(echo "$windows"/packages/norvane-*.zip)
(cd "$windows/unpacked" && cmake -E tar xf "$zip")
prefix=$(echo "$windows"/unpacked/norvane-*)
cmake -S tests/package -B "$windows/host" -G Ninja --toolchain "$PWD/cmake/windows/toolchain.cmake" \
    -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_FIND_ROOT_PATH="$prefix" -DEXAMPLE="$prefix/share/doc/norvane/examples/example.cpp" \
    >/dev/null
ninja -C "$windows/host" -j"$jobs" >/dev/null
x86_64-w64-mingw32-gcc-posix -std=c99 -Wall -Wextra -pedantic -Werror -I "$prefix/include" \
    "$prefix/share/doc/norvane/examples/example.c" -L "$prefix/lib" -lnorvane -o "$windows/host/host_in_c.exe"
cp "$prefix"/bin/*.dll "$windows/host"
for host in host host_in_c; do
    wine64 "$windows/host/$host.exe" 2>/dev/null
done
echo "$(basename "$zip"): $(stat -c %s "$zip") bytes"
