#!/bin/sh
# The main job on a fresh Debian machine, as root: installs what is needed,
# builds the zem tool and runs it on its built-in example.
set -e
cd "$(dirname "$0")/.."
sh tools/setup-debian.sh
cmake -S . -B build/demo -DCMAKE_BUILD_TYPE=Release -DZEM_TESTS=OFF >/dev/null
cmake --build build/demo -j "$(nproc)" --target zem >/dev/null
exec build/demo/tools/zem
