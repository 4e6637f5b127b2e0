#!/bin/sh
# Puts the macOS store over its stand-in under the address and undefined behaviour sanitizers. It
# takes a build of its own: the store's file is compiled by clang, and two compilers' sanitizers do
# not go together in one program. Objects of the framework that leak are found by the stand-in's own
# count, not here: GNUstep itself leaks at its start.
set -eu

root=$(cd "$(dirname "$0")/../.." && pwd -P)
folder=$root/build/eventkit-sanitized
compiler=$(command -v clang++)

cd "$root"
cmake --preset dev -B "$folder" -DCMAKE_CXX_COMPILER="$compiler" \
    -DCMAKE_CXX_FLAGS="-O1 -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer"
cmake --build "$folder" --target eventkit_store contract_eventkit quenbrook_with_stand_in

"$folder/tests/eventkit/eventkit_store" --gtest_brief=1
"$folder/tests/eventkit/contract_eventkit" --gtest_brief=1
ctest --test-dir "$folder" --output-on-failure --no-tests=error --tests-regex '^(eventkit\.|conformance\.eventkit)'
