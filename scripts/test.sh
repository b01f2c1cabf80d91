#!/usr/bin/env bash
# Builds everything and runs every test twice: in a plain build with warnings
# as errors, and in a build with AddressSanitizer, LeakSanitizer and
# UndefinedBehaviorSanitizer, where any report fails the run.
set -euo pipefail
cd "$(dirname "$0")/.."

XMLUTIL_WITH_BENCH=1 scripts/deps.sh
jobs=$(nproc)

run_suite() {
    local dir=$1
    shift
    echo "== $dir"
    cmake -S . -B "$dir" -DXMLUTIL_WERROR=ON "$@" > /dev/null
    cmake --build "$dir" -j "$jobs" > /dev/null
    ctest --test-dir "$dir" --output-on-failure -j "$jobs"
}

# The plain build also compiles the benchmarks, so that they keep building;
# they are run by hand, not here.
run_suite build/test -DXMLUTIL_BUILD_BENCH=ON
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:strict_string_checks=1 \
UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    run_suite build/sanitize -DXMLUTIL_SANITIZE=ON
