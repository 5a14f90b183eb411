#!/bin/sh
# Brief fuzzing: every libFuzzer target (clang, AddressSanitizer and
# UndefinedBehaviorSanitizer) for a few seconds from its committed corpus.
# New inputs go to a scratch copy; a crash fails the run and is kept in
# build/fuzz/artifacts. Usage: fuzz.sh [seconds per target, default 8]
set -eu
cd "$(dirname "$0")/.."
seconds="${1:-8}"
./scripts/install-deps.sh
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target fuzzers
scratch=build/fuzz/scratch-corpus
artifacts=build/fuzz/artifacts
mkdir -p "$artifacts"
for corpus in tests/fuzz/corpus/*/; do
    target=$(basename "$corpus")
    binary=build/fuzz/tests/$target
    [ -x "$binary" ] || { echo "no fuzzer for $target" >&2; exit 1; }
    rm -rf "$scratch/$target"
    mkdir -p "$scratch/$target"
    cp "$corpus"* "$scratch/$target/"
    echo "fuzzing $target for ${seconds}s"
    "$binary" "$scratch/$target" -max_total_time="$seconds" -rss_limit_mb=4096 \
        -artifact_prefix="$artifacts/$target-" -print_final_stats=1 2>&1 | grep -E "stat::number_of_executed_units|ERROR|SUMMARY" || true
    if ls "$artifacts/$target-"* >/dev/null 2>&1; then
        echo "fuzzer $target found a failing input: $(ls "$artifacts/$target-"*)" >&2
        exit 1
    fi
done
