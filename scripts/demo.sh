#!/bin/sh
# Main job: builds the library and runs the demo on the built-in emulated line card.
set -eu
cd "$(dirname "$0")/.."
./scripts/install-deps.sh
cmake --preset ci >/dev/null
cmake --build --preset ci --target qsfp_demo
./build/ci/tools/qsfp_demo "$@"
