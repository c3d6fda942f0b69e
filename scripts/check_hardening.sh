#!/usr/bin/env bash
# Names the hardening that built files for x86-64 lack. It looks into the files; cmake/hardening.cmake sets the flags.
#   scripts/check_hardening.sh [--no-fortify] build/release/libnorvane.so build/release/apps/norvane/norvane
# --no-fortify: for a build without optimisation, which has no checked calls.
set -euo pipefail
export LC_ALL=C
fortify=true
if [ "$1" = --no-fortify ]; then fortify=false; shift; fi
faults=0
for file in "$@"; do
    headers=$(readelf -Wl "$file") dynamic=$(readelf -Wd "$file") imports=$(readelf -W --dyn-syms "$file")
    code=$(objdump -d --no-show-raw-insn "$file")
    has() { grep -qE -- "$2" <<<"$1"; }
    missing() {
        echo "check_hardening.sh: $file: $1" >&2
        faults=$((faults + 1))
    }
    ! has "$headers" ' INTERP ' || has "$dynamic" 'Flags:.* PIE' || missing "no position-independent program"
    has "$headers" ' GNU_RELRO ' || missing "-z relro"
    has "$dynamic" 'BIND_NOW' || missing "-z now"
    has "$headers" ' GNU_STACK .* RW +0x' || missing "-z noexecstack"
    has "$imports" ' __stack_chk_fail@' || missing "-fstack-protector-strong"
    # The start files of the C library have a few of these instructions.
    [ "$(grep -c endbr64 <<<"$code")" -gt 50 ] || missing "-fcf-protection"
    # Larger frames are probed page by page, so that no frame skips the guard page.
    ! has "$code" 'sub +\$0x(100[1-9a-f]|10[1-9a-f].|1[1-9a-f]..|[2-9a-f]...|[0-9a-f]{5,7}),%rsp' || missing "-fstack-clash-protection"
    # The library makes no call that has a checked form.
    ! $fortify || has "$dynamic" 'SONAME.*libnorvane' || has "$imports" '_chk@GLIBC' || missing "_FORTIFY_SOURCE"
done
[ "$faults" -eq 0 ] && echo "hardening: nothing is missing in $# files"
