#!/bin/sh
# Sanitizer jobs: the whole suite under AddressSanitizer and
# UndefinedBehaviorSanitizer, the concurrency tests under ThreadSanitizer.
set -eu
cd "$(dirname "$0")/.."
./scripts/install-deps.sh
cmake --preset asan >/dev/null
cmake --build --preset asan
ctest --preset asan
cmake --preset tsan >/dev/null
cmake --build --preset tsan
ctest --preset tsan
