#!/bin/sh
# Static checks of the library: clang-tidy with the committed .clang-tidy
# (warnings are errors) and cppcheck with the committed configuration
# (scripts/cppcheck: the trace macros as cppcheck sees them, suppressions), over
# framework/, sff8636/, cmis/, coherent/ and decode/. The compilation database
# comes from the ci build's configuration.
set -eu
cd "$(dirname "$0")/.."
./scripts/install-deps.sh
cmake --preset ci >/dev/null
sources=$(ls framework/*.cpp sff8636/*.cpp cmis/*.cpp coherent/*.cpp decode/*.cpp)
jobs=$(nproc)
echo "clang-tidy: $(echo "$sources" | wc -l) library sources"
# shellcheck disable=SC2086
echo "$sources" | xargs -P "$jobs" -n 4 clang-tidy -p build/ci --quiet 2>&1 | grep -v "warnings generated" > build/ci/clang-tidy.log || true
if grep -q "error:" build/ci/clang-tidy.log; then
    cat build/ci/clang-tidy.log >&2
    echo "clang-tidy found the problems above" >&2
    exit 1
fi
echo "cppcheck: the library"
cppcheck --quiet --error-exitcode=1 --std=c++20 --language=c++ --enable=warning,performance,portability \
    --inline-suppr --suppressions-list=scripts/cppcheck/suppressions --library=scripts/cppcheck/qsfp.cfg \
    -j "$jobs" -I include framework sff8636 cmis coherent decode
echo "static checks clean"
