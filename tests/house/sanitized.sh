#!/usr/bin/env bash
# sanitized.sh PRESET LABEL: builds the tests of that label under the preset's sanitizer and runs them. Nothing is
# rebuilt when `./dev test` has just done so.
set -eu
cd "$(dirname "$0")/../.."
[ -f "build/$1/build.ninja" ] || cmake --preset "$1"
cmake --build --preset "$1" --target "$2_tests"
exec ctest --preset "$1" -L "^$2\$" -j "$(nproc)" --no-tests=error
