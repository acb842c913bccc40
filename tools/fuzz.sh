#!/bin/sh
# Builds a fuzz target with clang and libFuzzer and runs it for the given
# number of seconds on its seed corpus.
#
#   tools/fuzz.sh [seconds [target [libFuzzer options...]]]
#
#   seconds  default 600
#   target   fuzz_parse (default; seeds in tests/fuzz/corpus) or fuzz_block
#            (context blocks; seeds in tests/fuzz/block_corpus)
#
# The build goes to build/fuzz, or to $ZEM_FUZZ_DIR (an absolute path) when
# set; new inputs collect in a corpus directory there. Findings and the logs
# of -jobs land in the current directory.
set -e
root=$(cd "$(dirname "$0")/.." && pwd)
seconds=${1:-600}
target=${2:-fuzz_parse}
[ $# -gt 2 ] && shift 2 || set --
dir=${ZEM_FUZZ_DIR:-$root/build/fuzz}
case $target in
fuzz_parse) seeds=$root/tests/fuzz/corpus work=$dir/corpus max_len=512 ;;
fuzz_block) seeds=$root/tests/fuzz/block_corpus work=$dir/corpus-block max_len=4096 ;;
*) echo "unknown target $target" >&2; exit 2 ;;
esac
command -v clang++ >/dev/null || (apt-get update -qq && apt-get install -y -qq clang libclang-rt-dev)
CC=clang CXX=clang++ cmake -S "$root" -B "$dir" -DZEM_FUZZ=ON -DZEM_TESTS=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$dir" -j "$(nproc)" --target "$target"
mkdir -p "$work"
"$dir/$target" -max_total_time="$seconds" -max_len="$max_len" -timeout=10 "$@" "$work" "$seeds"
