#!/bin/sh
# Builds zemi40 for 64-bit and 32-bit x86 and runs the whole test suite on
# both. With --sanitize, also a run under AddressSanitizer and
# UndefinedBehaviorSanitizer.
set -e
cd "$(dirname "$0")/.."
sh tools/setup-debian.sh
jobs=$(nproc)

run() {  # build-dir, cmake options...
    dir=$1; shift
    cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZEM_TESTS=ON "$@" >/dev/null
    cmake --build "$dir" -j "$jobs"
    (cd "$dir" && ctest --output-on-failure -j "$jobs")
}

echo "== 64-bit"
run build/x64
echo "== 32-bit"
run build/x86 -DZEM_M32=ON
if [ "$1" = "--sanitize" ]; then
    echo "== 64-bit, ASan and UBSan"
    run build/asan -DZEM_SANITIZE=ON
fi
