#!/bin/sh
# Checks zemi40 as a host developer gets it, from builds already made:
#  - Linux: installs into a temporary prefix and builds the examples
#    against it through find_package and through pkg-config, and runs them;
#    makes the Debian packages, installs them into an empty root with dpkg
#    and builds the C example against that root.
#  - Windows: makes the zip of each build, builds the C example against the
#    unpacked zip with mingw-w64 (64-bit through find_package as well) and
#    runs the 64-bit one under wine; the 32-bit one is linked, not run.
# Usage: tools/check-install.sh LINUX-BUILD [WIN64-BUILD WIN32-BUILD]
set -e
root=$(cd "$(dirname "$0")/.." && pwd)
linux=$(cd "$1" && pwd)
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

# The examples' CMake project against a prefix. (The Windows programs take
# the compiler's C++ runtime in, as the library does, to need no other DLL.)
by_cmake() {  # name, prefix, cmake options...
    name=$1 prefix=$2
    shift 2
    cmake -S "$root/examples" -B "$tmp/$name" -DCMAKE_PREFIX_PATH="$prefix" "$@" >/dev/null
    cmake --build "$tmp/$name" >/dev/null
}

# The examples' Makefile in a copy of the folder, as a host would use it.
by_pkgconfig() {  # name, pkgconfig-dir, make arguments...
    name=$1 pc=$2
    shift 2
    mkdir -p "$tmp/$name"
    cp "$root/examples/host.c" "$root/examples/host.cpp" "$root/examples/Makefile" "$tmp/$name"
    PKG_CONFIG_PATH="$pc" make -s -C "$tmp/$name" "$@"
}

echo "-- install into a temporary prefix"
cmake --install "$linux" --prefix "$tmp/prefix" >/dev/null
(cd "$tmp/prefix" && find . -type f -o -type l | sort)
echo "-- examples through find_package"
by_cmake cmake "$tmp/prefix"
"$tmp/cmake/host"
"$tmp/cmake/host_cpp"
echo "-- examples through pkg-config"
by_pkgconfig pc "$tmp/prefix/lib/pkgconfig"
LD_LIBRARY_PATH="$tmp/prefix/lib" "$tmp/pc/host" >/dev/null
LD_LIBRARY_PATH="$tmp/prefix/lib" "$tmp/pc/host_cpp" >/dev/null

echo "-- Debian packages"
(cd "$linux" && cpack -G DEB >/dev/null)
debs=$(ls "$linux"/packages/*.deb)
mkdir -p "$tmp/root/var/lib/dpkg/info" "$tmp/root/var/lib/dpkg/updates"
touch "$tmp/root/var/lib/dpkg/status"
# Unpacked without configuring: the runtime package's scripts run the
# system's ldconfig, which an empty root does not have (nor libc6 and the
# other dependencies).
dpkg --root="$tmp/root" --log=/dev/null --force-not-root --force-depends --unpack $debs >/dev/null
for deb in $debs; do
    package=$(dpkg-deb -f "$deb" Package)
    echo "$(basename "$deb"), depends: $(dpkg-deb -f "$deb" Depends)"
    dpkg --root="$tmp/root" -L "$package" | while read -r f; do
        [ -d "$tmp/root$f" ] || echo "    $f"
    done
done
by_pkgconfig deb "$tmp/root/usr/lib/pkgconfig" host
LD_LIBRARY_PATH="$tmp/root/usr/lib" "$tmp/deb/host" >/dev/null
echo "the C example built against the packages' root runs"

[ -n "$2" ] || exit 0
. "$root/tools/wine-prefix.sh"
win64=$(cd "$2" && pwd)
for win in "$2 x86_64" "$3 i686"; do
    set -- $win
    dir=$(cd "$1" && pwd) arch=$2
    echo "-- Windows zip of $1"
    (cd "$dir" && cpack -G ZIP >/dev/null)
    mkdir -p "$tmp/$arch"
    (cd "$tmp/$arch" && cmake -E tar xf "$dir"/packages/*.zip)
    unpacked=$(echo "$tmp/$arch"/*)
    (cd "$unpacked" && find . -type f | sort)
    by_pkgconfig "$arch-pc" "$unpacked/lib/pkgconfig" host CC=$arch-w64-mingw32-gcc-posix
    cp "$unpacked/bin/zemi40.dll" "$tmp/$arch-pc/"
done
# The 32-bit import library must lead the decorated __stdcall names to the
# DLL's undecorated ones.
imports=$(i686-w64-mingw32-objdump -p "$tmp/i686-pc/host.exe" |
          sed -n '/DLL Name: zemi40.dll/,/^$/p' | awk 'NF == 3 && $2 ~ /^[0-9]+$/ { print $3 }')
echo "32-bit host.exe imports $(echo "$imports" | wc -l) names of zemi40.dll"
case $imports in *@*|"") echo "decorated or no imports: $imports"; exit 1 ;; esac
echo "-- 64-bit examples through find_package"
pkg64=$(echo "$tmp/x86_64"/*)
by_cmake win64-cmake "$pkg64" -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-x86_64.cmake" \
    -Dzemi40_DIR="$pkg64/lib/cmake/zemi40" -DCMAKE_EXE_LINKER_FLAGS=-static
cp "$pkg64/bin/zemi40.dll" "$tmp/win64-cmake/"
echo "-- the 64-bit examples under wine (the 32-bit one is linked, not run: no 32-bit wine)"
wine_prefix "$win64/wineprefix"
for exe in x86_64-pc/host.exe win64-cmake/host.exe win64-cmake/host_cpp.exe; do
    (cd "$tmp/$(dirname $exe)" && LC_ALL=ja_JP.UTF-8 wine "$(basename $exe)" >out.txt)
    tr -d '\r' <"$tmp/$(dirname $exe)/out.txt" | iconv -f CP932 -t UTF-8
done
