#!/bin/sh
# Runs the tests of a 64-bit Windows build (cmake/mingw-x86_64.cmake) under
# wine, headless, in a wine prefix of its own inside the build directory:
# once under a Japanese locale (wine's code page 932, double-byte) and once
# under an English one (code page 1252, single-byte). The tests that need
# the other code page are left out by tests/windows/gtest-skip-CP.txt; the
# zem test, whose example names things in Japanese, runs under 932 only.
# Usage: tools/run-windows.sh BUILD-DIR [ctest options...]
set -e
root=$(cd "$(dirname "$0")/.." && pwd)
dir=$(cd "$1" && pwd)
shift
export WINEPREFIX="$dir/wineprefix" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
unset DISPLAY WAYLAND_DISPLAY
if [ ! -f "$WINEPREFIX/system.reg" ]; then
    wineboot -i >/dev/null 2>&1 || true
    wineserver -w
fi
status=0
for run in "ja_JP.UTF-8 932" "en_US.UTF-8 1252"; do
    set -- $run "$@"
    locale=$1 cp=$2
    shift 2
    skip=$(grep -v '^#' "$root/tests/windows/gtest-skip-$cp.txt" | tr '\n' ':')
    echo "-- wine, LC_ALL=$locale, code page $cp"
    exclude='^$'
    [ "$cp" = 1252 ] && exclude='^test_zem$'
    (cd "$dir" && LC_ALL=$locale GTEST_FILTER="-$skip" ctest --output-on-failure -E "$exclude" "$@") ||
        status=1
done
wineserver -k 2>/dev/null || true
exit $status
