#!/bin/sh
# Builds zemi40 for 64-bit and 32-bit x86 and runs the whole test suite on
# both; then the Windows builds: 64-bit and 32-bit with mingw-w64, their
# export tables against the shared library's, the 64-bit tests under wine
# in code pages 932 and 1252, the stand-in character calls against the
# system's, and the blocks and zem results of both targets. With --sanitize, also a run under AddressSanitizer and
# UndefinedBehaviorSanitizer. Each stage prints its time.
set -e
cd "$(dirname "$0")/.."
sh tools/setup-debian.sh
jobs=$(nproc)

configure() {  # build-dir, cmake options...
    dir=$1; shift
    cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZEM_TESTS=ON "$@" >/dev/null
}

run() {  # build-dir, cmake options...
    configure "$@"
    cmake --build "$1" -j "$jobs"
    (cd "$1" && ctest --output-on-failure -j "$jobs")
}

started=$(date +%s)
stage() {  # name: closes the previous stage's time and opens the next
    now=$(date +%s)
    [ -n "$stage_name" ] && echo "== time: $stage_name $((now - stage_start)) s"
    stage_name=$1
    stage_start=$now
    [ -n "$1" ] && echo "== $1"
    return 0
}

stage "64-bit"
run build/x64
python3 tools/check-guide.py build/x64/tools/zem
stage "32-bit"
run build/x86 -DZEM_M32=ON
if [ "$1" = "--sanitize" ]; then
    stage "64-bit, ASan and UBSan"
    run build/asan -DZEM_SANITIZE=ON
fi

stage "Windows 64-bit build"
configure build/win64 -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-x86_64.cmake
cmake --build build/win64 -j "$jobs"
stage "Windows 32-bit build (not run: no 32-bit wine)"
configure build/win32 -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-i686.cmake
cmake --build build/win32 -j "$jobs"

stage "Export tables"
python3 tools/compare_exports.py build/x64/libzemi40.so \
    x86_64-w64-mingw32-objdump build/win64/zemi40.dll \
    i686-w64-mingw32-objdump build/win32/zemi40.dll
# Nothing but system DLLs: the compiler's runtime is linked in.
for dll in build/win64/zemi40.dll build/win32/zemi40.dll; do
    imports=$(x86_64-w64-mingw32-objdump -p "$dll" | sed -n 's/^[[:space:]]*DLL Name: //p' |
              tr 'A-Z' 'a-z' | sort -u | tr '\n' ' ')
    echo "$dll imports: $imports"
    for lib in $imports; do
        case $lib in kernel32.dll|user32.dll|gdi32.dll|msvcrt.dll) ;; *) echo "unexpected DLL $lib"; exit 1 ;; esac
    done
done

stage "Windows 64-bit tests under wine"
python3 tools/check-skips.py
sh tools/run-windows.sh build/win64 -j "$jobs"

stage "Stand-in character calls against the system's"
mkdir -p build/charops
. tools/wine-prefix.sh
wine_prefix "$PWD/build/win64/wineprefix"
for run in "ja_JP.UTF-8 932" "en_US.UTF-8 1252"; do
    set -- $run
    build/x64/tests/charops_dump "$2" >build/charops/standin-$2.txt
    LC_ALL=$1 wine build/win64/tests/charops_dump.exe "$2" >build/charops/system-$2.txt
    python3 tools/compare_charops.py build/charops/standin-$2.txt build/charops/system-$2.txt \
        tests/windows/charops-skips.txt
done

stage "Same blocks and zem results on Linux and Windows"
for run in "ja_JP.UTF-8 932" "en_US.UTF-8 1252"; do
    set -- $run
    build/x64/tests/block_dump build/charops/block-linux-$2.bin "$2"
    (cd build/win64/tests && LC_ALL=$1 wine block_dump.exe ../../charops/block-windows-$2.bin "$2")
    cmp build/charops/block-linux-$2.bin build/charops/block-windows-$2.bin
    echo "code page $2: the blocks are the same ($(wc -c <build/charops/block-linux-$2.bin) bytes)"
done
# zem's built-in example and formulas of every kind.
for args in "" "Price=12.5 Qty=3 Due:date=1/31/2001 Price*Qty/7 Due+1 NumberToStr(Price,3) \
             StrUpper('abc')||'x' DateToStr(Due) Power(2,10) StrLeft('abc',9) Due-1/1/2001"; do
    build/x64/tools/zem $args >build/charops/zem-linux.txt 2>&1 || true
    LC_ALL=ja_JP.UTF-8 wine build/win64/tools/zem.exe $args 2>&1 | tr -d '\r' >build/charops/zem-windows.txt || true
    cmp build/charops/zem-linux.txt build/charops/zem-windows.txt
    echo "zem $(echo $args | cut -c1-30)...: the same $(wc -l <build/charops/zem-linux.txt) lines"
done
stage "Install, packages and examples"; sh tools/check-install.sh build/x64 build/win64 build/win32
wineserver -k 2>/dev/null || true
stage ""
echo "== time: all $(($(date +%s) - started)) s"
