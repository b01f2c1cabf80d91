#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds everything and runs every test:
#  1. a plain build with warnings as errors (benchmarks compiled, not run),
#     and the API reference, which must build without a Doxygen warning;
#  2. a build with AddressSanitizer, LeakSanitizer and
#     UndefinedBehaviorSanitizer, where any report fails the run;
#  3. the thread tests under ThreadSanitizer;
#  4. each libFuzzer target for FUZZ_SECONDS (60) seconds, after replaying
#     its seed corpus and regressions.
set -euo pipefail
cd "$(dirname "$0")/.."

XMLUTIL_WITH_BENCH=1 scripts/deps.sh
jobs=$(nproc)
started=$SECONDS

run_suite() {
    local dir=$1
    shift
    echo "== $dir"
    cmake -S . -B "$dir" -DXMLUTIL_WERROR=ON "$@" > /dev/null
    cmake --build "$dir" -j "$jobs" > /dev/null
    ctest --test-dir "$dir" --output-on-failure -j "$jobs"
}

run_suite build/test -DXMLUTIL_BUILD_BENCH=ON
echo "== API reference"
cmake --build build/test --target docs > /dev/null

ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:strict_string_checks=1 \
UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    run_suite build/sanitize -DXMLUTIL_SANITIZE=ON

echo "== ThreadSanitizer"
JOBS=$jobs scripts/tsan.sh

echo "== fuzzing"
JOBS=$jobs scripts/fuzz.sh "${FUZZ_SECONDS:-60}"
ctest --test-dir build/fuzz --output-on-failure -j "$jobs"

echo "== all checks passed in $((SECONDS - started)) s"
