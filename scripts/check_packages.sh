#!/usr/bin/env bash
# Tests the Debian packages on a machine that has nothing: makes them, checks them with lintian, installs them by apt
# into a fresh Debian 12 and runs what they contain: program, manual page, completion, Python module, and a host that is
# built by pkg-config and by CMake. Then it purges them.
#   scripts/check_packages.sh
# BUILD_ROOT keeps the fresh system for the next run. Without it, only the build stays (build/package). DEBIAN_MIRROR
# names the archive (default: that of this machine's apt). It needs root and an archive that answers; otherwise it exits
# with 77.
set -euo pipefail
cd "$(dirname "$0")/.."
skip() { echo "check_packages.sh: left out: $1" >&2; exit 77; }
[ "$(id -u)" -eq 0 ] || skip "needs root to make a system of its own"
command -v apt-get >/dev/null || skip "needs Debian's apt"
scripts/install-packages.sh build python packages || skip "the packages it needs cannot be installed"

archives() {
    apt-get indextargets --format '$(REPO_URI)' "Codename: $1" 'Component: main' 'Created-By: Packages' | head -n1
}
mirror=${DEBIAN_MIRROR:-$(archives bookworm)}
[ -n "$mirror" ] || skip "apt has no archive of Debian 12; DEBIAN_MIRROR names one"

work=${BUILD_ROOT:-}
kept=true
if [ -z "$work" ]; then
    work=$(mktemp -d)
    kept=false
fi
mkdir -p "$work"
work=$(realpath "$work")
root=$work/root
clean_up() {
    if $kept; then rm -rf "$root" "$work/base.part"; else rm -rf "$work"; fi
}
trap clean_up EXIT
trap 'echo "check_packages.sh: failed in line $LINENO" >&2' ERR
step() { echo "[$((SECONDS / 60)):$(printf %02d $((SECONDS % 60)))] $*"; }

if [ ! -d "$work/base" ]; then
    step "a fresh system from $mirror"
    debootstrap --variant=minbase bookworm "$work/base.part" "$mirror" >"$work/debootstrap.log" 2>&1 || {
        tail -n3 "$work/debootstrap.log" >&2
        skip "$mirror gives no fresh system"
    }
    mv "$work/base.part" "$work/base"
fi

step "packages"
rm -rf build/package/packages
cmake --workflow --preset package >"$work/build.log" 2>&1 || { tail -n20 "$work/build.log" >&2; exit 1; }
packages=(build/package/packages/*.deb)
[ ${#packages[@]} -eq 4 ] || { echo "check_packages.sh: ${#packages[@]} packages instead of 4" >&2; exit 1; }
lintian --allow-root --fail-on error,warning "${packages[@]}"
scripts/check_hardening.sh build/package/{libnorvane.so,apps/norvane/norvane,python/norvane/_norvane.*.so}
/usr/bin/python3 scripts/make_sbom.py --check build/package/packages/norvane-*.spdx.json --deb "${packages[@]}"

rm -rf "$root"
cp -a "$work/base" "$root"
security=$(archives bookworm-security)
if [ -n "$security" ]; then echo "deb $security bookworm-security main" >>"$root/etc/apt/sources.list"; fi
apt-config dump | grep -i '^Acquire::[a-z]*::proxy' >"$root/etc/apt/apt.conf.d/90proxy" || true
cp "${packages[@]}" "$root/tmp"
printf '#!/bin/sh\nexit 101\n' >"$root/usr/sbin/policy-rc.d" # no services
chmod +x "$root/usr/sbin/policy-rc.d"
# With /proc, which ends with the command. Of this machine's environment, only the way to the archive is passed on.
inside() {
    env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive HOME=/root \
        ${http_proxy:+http_proxy="$http_proxy"} unshare --mount bash -c \
        'mount -t proc proc "$0/proc" && exec chroot "$0" bash -euo pipefail -c "$1"' "$root" "$1"
}
install_inside() {
    inside "cd /tmp
        apt-get install -y -qq --no-install-recommends $1 >apt.log 2>&1 || { tail -n20 apt.log; exit 1; }"
    if $kept; then cp -n "$root"/var/cache/apt/archives/*.deb "$work/base/var/cache/apt/archives/"; fi
}
inside 'apt-get update -qq'

# Each package is tested before the next one is installed, which could bring a dependency that it forgot.
step "program"
install_inside './libnorvane1_*.deb ./norvane_*.deb'
inside 'cd /tmp
    test "$(norvane --version)" = "norvane $(dpkg-query -W -f "\${Version}" norvane | sed "s/-[^-]*$//")"
    norvane phantom exam.png
    norvane masks exam.png --view mlo --pixel-size 100 --out-dir results
    for result in exam.json exam.overlay.png report.html; do test -s results/$result; done
    ldd "$(command -v norvane)" | grep "libnorvane.so.1 => /.*lib/" >/dev/null'

step "Python module"
install_inside './python3-norvane_*.deb'
inside 'cd /tmp
    python3 -c "
import norvane
pixels, _ = norvane.phantom(900, 1200, 200.0)
found = norvane.analyse(pixels, pixel_size=200.0, view=\"mlo\", used_bits=12)
print(norvane.__file__, found.status.name, found[\"breast\"].area_mm2)
assert found.status.name == \"MASK_OK\" and found[\"breast\"].area_mm2 > 1000
"
    ldd /usr/lib/python3/dist-packages/norvane/_norvane.*.so | grep "libnorvane.so.1 => /.*lib/" >/dev/null
    test -s /usr/lib/python3/dist-packages/norvane/__pycache__/__init__.cpython-3*.pyc'

step "headers"
cp docs/example.cpp tests/package/CMakeLists.txt "$root/tmp"
install_inside './libnorvane-dev_*.deb g++ make cmake pkg-config man-db bash-completion'
inside 'cd /tmp
    g++ -std=c++17 -Wall -Werror example.cpp $(pkg-config --cflags --libs norvane) -o by_pkg_config
    ./by_pkg_config
    cmake -S . -B host -DEXAMPLE=/tmp/example.cpp >/dev/null
    cmake --build host >/dev/null
    host/host
    cmp example.cpp /usr/share/doc/libnorvane-dev/examples/example.cpp'

step "manual page and completion"
inside 'cd /tmp
    said=$(man --warnings --encoding=utf8 norvane 2>&1 >page.txt); test -z "$said" || { echo "$said"; exit 1; }
    grep -q -e "--fail-list" page.txt
    source /usr/share/bash-completion/bash_completion
    _completion_loader norvane || test $? -eq 124 # bash shall try again
    COMP_WORDS=(norvane phantom --look "")
    COMP_CWORD=3
    _norvane
    test "${COMPREPLY[*]}" = "film digital"'

step "purge"
inside 'apt-get purge -y -qq libnorvane1 libnorvane-dev norvane python3-norvane >/dev/null 2>&1
    left=$(find / -xdev -path /tmp -prune -o -iname "*norvane*" -print)
    test -z "$left" || { echo "left behind: $left"; exit 1; }'
step "four packages serve on a fresh system"
