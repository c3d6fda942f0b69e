#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Runs a command in separate namespaces. Its only network is the loopback, so a server that it starts cannot be reached
# from outside, and no port is taken. All processes that it leaves behind end with it.
#   scripts/in_own_network.sh COMMAND [ARGUMENT...]
# If the system does not allow namespaces (a container without rights), the command runs on the machine's network.
set -eu
user=
[ "$(id -u)" -eq 0 ] || user="--map-current-user --keep-caps"
# The resolver needs a second address to find localhost: if it only sees 127.0.0.1, it assumes that the network is down.
prepare='hostname localhost && ip link set lo up && ip address add 127.0.0.2/8 dev lo && "$@"'
apart="unshare $user --net --uts --pid --fork --kill-child --mount-proc sh -c"
# shellcheck disable=SC2086 # a list of words
if $apart "$prepare" sh true 2>/dev/null; then
    exec $apart "$prepare" sh "$@"
fi
echo "in_own_network.sh: namespaces are not allowed here; $1 runs on the network of this machine" >&2
exec "$@"
