#!/bin/sh
# Installs what building and testing zemi40 needs on a fresh Debian machine.
# Run as root. Does nothing that is already done.
set -e
PACKAGES="cmake make g++ g++-multilib qemu-user python3 flex bison googletest libbenchmark-dev"
missing=""
for p in $PACKAGES; do
    dpkg -s "$p" >/dev/null 2>&1 || missing="$missing $p"
done
if [ -n "$missing" ]; then
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq
    apt-get install -y -qq $missing
fi
