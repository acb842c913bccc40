#!/bin/sh
# Builds the parse fuzz target with clang and libFuzzer and runs it for the
# given number of seconds (default 600) on the seed corpus in tests/fuzz/corpus.
set -e
cd "$(dirname "$0")/.."
seconds=${1:-600}
command -v clang++ >/dev/null || (apt-get update -qq && apt-get install -y -qq clang libclang-rt-dev)
CC=clang CXX=clang++ cmake -S . -B build/fuzz -DZEM_FUZZ=ON -DZEM_TESTS=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build/fuzz -j "$(nproc)" --target fuzz_parse
mkdir -p build/fuzz/corpus
./build/fuzz/fuzz_parse -max_total_time="$seconds" -max_len=512 -timeout=10 \
    build/fuzz/corpus tests/fuzz/corpus
