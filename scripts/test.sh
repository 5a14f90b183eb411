#!/bin/sh
# The whole test suite: optimised build with warnings as errors, every test.
set -eu
cd "$(dirname "$0")/.."
./scripts/install-deps.sh
cmake --preset ci >/dev/null
cmake --build --preset ci
ctest --preset ci
