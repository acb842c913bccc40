#!/bin/sh
# Installs what building and testing zemi40 needs on a fresh Debian machine.
# Run as root. Does nothing that is already done.
# The Windows builds need the two mingw-w64 compilers; wine64 runs the
# 64-bit Windows programs, under a Japanese and an English locale; the
# dialog tests and screenshots run them inside a virtual X server, with a
# Japanese font for the dialogs' captions. The install check builds the
# examples through pkg-config; CPack finds the Debian packages' dependencies
# with dpkg-shlibdeps, which it runs on what file calls a shared object.
set -e
PACKAGES="cmake make g++ g++-multilib qemu-user python3 flex bison googletest libbenchmark-dev
g++-mingw-w64-x86-64 g++-mingw-w64-i686 wine64 locales
xvfb xauth x11-apps imagemagick fonts-ipafont-gothic
pkg-config dpkg-dev file"
missing=""
for p in $PACKAGES; do
    dpkg -s "$p" >/dev/null 2>&1 || missing="$missing $p"
done
if [ -n "$missing" ]; then
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq
    apt-get install -y -qq $missing
fi
for loc in ja_JP en_US; do
    if ! locale -a 2>/dev/null | grep -qx "$loc.utf8"; then
        localedef -i "$loc" -f UTF-8 "$loc.UTF-8"
    fi
done
