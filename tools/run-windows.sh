#!/bin/sh
# Runs the tests of a 64-bit Windows build (cmake/mingw-x86_64.cmake) under
# wine, headless, in a wine prefix of its own inside the build directory:
# once under a Japanese locale (wine's code page 932, double-byte) and once
# under an English one (code page 1252, single-byte).
# Usage: tools/run-windows.sh BUILD-DIR [ctest options...]
set -e
dir=$(cd "$1" && pwd)
shift
export WINEPREFIX="$dir/wineprefix" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
unset DISPLAY WAYLAND_DISPLAY
if [ ! -f "$WINEPREFIX/system.reg" ]; then
    wineboot -i >/dev/null 2>&1 || true
    wineserver -w
fi
status=0
for locale in ja_JP.UTF-8 en_US.UTF-8; do
    echo "-- wine, LC_ALL=$locale"
    (cd "$dir" && LC_ALL=$locale ctest --output-on-failure "$@") || status=1
done
wineserver -k 2>/dev/null || true
exit $status
