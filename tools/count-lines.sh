#!/bin/sh
# Lines of tests against lines of code: tests are everything under tests/
# but the fuzzers' seed files; code is the library, its build files, the
# tools and the examples (benchmarks and documents count as neither).
cd "$(dirname "$0")/.."
count() { find "$@" -type f ! -path '*/corpus/*' -exec cat {} + | wc -l; }
tests=$(count tests)
code=$(count services context language eval persist builder errors resources include \
             tools examples cmake CMakeLists.txt)
echo "tests $tests, code $code: tests are $(awk "BEGIN { printf \"%.2f\", $tests / $code }") of the code"
