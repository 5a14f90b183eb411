#!/bin/sh
# Main job: builds qsfpctl and runs it on the built-in emulated line card.
# With no arguments it prints the card's inventory and one module's show
# text; otherwise it runs `qsfpctl ARGS...` (try --help).
set -eu
cd "$(dirname "$0")/.."
./scripts/install-deps.sh
cmake --preset ci >/dev/null
cmake --build --preset ci --target qsfpctl
if [ "$#" -eq 0 ]; then
    ./build/ci/tools/qsfpctl list
    echo
    ./build/ci/tools/qsfpctl show 1
else
    exec ./build/ci/tools/qsfpctl "$@"
fi
