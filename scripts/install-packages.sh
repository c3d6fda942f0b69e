#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Installs the missing Debian packages of the named purposes, such as build and test. Starts no services.
#   scripts/install-packages.sh build test
set -eu

list=$(dirname "$0")/debian-packages.txt
missing=
for purpose in "$@"; do
    packages=$(sed -n "s/^$purpose //p" "$list")
    [ -n "$packages" ] || { echo "install-packages.sh: nothing is listed for '$purpose'" >&2; exit 2; }
    for package in $packages; do
        # Virtual packages such as pkg-config's are installed when something provides them.
        status=$(dpkg-query --show --showformat='${db:Status-Status}' "$package" 2>/dev/null || true)
        [ "$status" = installed ] || missing="$missing $package"
    done
done
[ -n "$missing" ] || exit 0

as_root=
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { echo "install-packages.sh: run as root:  apt-get install$missing" >&2; exit 1; }
    as_root=sudo
fi
echo "Installing$missing" >&2
export DEBIAN_FRONTEND=noninteractive
# Packages of servers must not start them.
policy=/usr/sbin/policy-rc.d
if [ ! -e $policy ]; then
    trap '$as_root rm -f $policy' EXIT
    printf '#!/bin/sh\nexit 101\n' | $as_root tee $policy >/dev/null
    $as_root chmod +x $policy
fi
$as_root apt-get update -qq
# shellcheck disable=SC2086 # a list of words
$as_root apt-get -o DPkg::Lock::Timeout=300 install -y -qq --no-install-recommends $missing >/dev/null
