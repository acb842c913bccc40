#!/bin/sh
# Runs the tests of a 64-bit Windows build (cmake/mingw-x86_64.cmake) under
# wine, inside a virtual X server (the dialog tests open real windows), in a
# wine prefix of its own inside the build directory (tools/wine-prefix.sh):
# once under a Japanese locale (wine's code page 932, double-byte) and once
# under an English one (code page 1252, single-byte). The tests that need
# the other code page are left out by tests/windows/gtest-skip-CP.txt; the
# zem test, whose example names things in Japanese, and the dialog test,
# whose captions are Japanese, run under 932 only.
# Usage: tools/run-windows.sh BUILD-DIR [ctest options...]
set -e
if [ -z "$ZEM_XVFB" ]; then
    ZEM_XVFB=1 exec xvfb-run -a -s "-screen 0 1280x1024x24" sh "$0" "$@"
fi
root=$(cd "$(dirname "$0")/.." && pwd)
dir=$(cd "$1" && pwd)
shift
. "$root/tools/wine-prefix.sh"
wine_prefix "$dir/wineprefix"
status=0
for run in "ja_JP.UTF-8 932" "en_US.UTF-8 1252"; do
    set -- $run "$@"
    locale=$1 cp=$2
    shift 2
    skip=$(grep -v '^#' "$root/tests/windows/gtest-skip-$cp.txt" | tr '\n' ':')
    echo "-- wine, LC_ALL=$locale, code page $cp"
    exclude='^$'
    [ "$cp" = 1252 ] && exclude='^(test_zem|dialog_host)$'
    (cd "$dir" && LC_ALL=$locale GTEST_FILTER="-$skip" ctest --output-on-failure --timeout 300 -E "$exclude" "$@") ||
        status=1
done
wineserver -k 2>/dev/null || true
exit $status
