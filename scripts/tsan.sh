#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the library and the thread tests with ThreadSanitizer and runs the
# thread tests through ctest; any report fails the run.
#
#   scripts/tsan.sh
#   BUILD_DIR=... JOBS=... scripts/tsan.sh   build directory (build/tsan), compile jobs (2)
#
# On kernels that randomise addresses with more bits than the TSan runtime
# of gcc 12 knows, it cannot map its shadow memory ("FATAL: ThreadSanitizer:
# unexpected memory mapping"). The tests then run with address
# randomisation off for their process tree (setarch -R), which changes
# nothing else.
set -euo pipefail
cd "$(dirname "$0")/.."

build=${BUILD_DIR:-build/tsan}
jobs=${JOBS:-2}

# The tests are listed when ctest runs rather than after the build, so that
# listing them runs under the same setarch as the tests themselves.
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DXMLUTIL_TSAN=ON \
    -DXMLUTIL_BUILD_EXAMPLES=OFF -DXMLUTIL_BUILD_TOOLS=OFF -DXMLUTIL_WERROR=ON \
    -DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST > /dev/null
cmake --build "$build" --target test_threads -j "$jobs"

# Xerces-C comes from the distribution and is not instrumented: its own
# memory accesses are invisible to TSan, its locks (pthread) are not.
export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1${TSAN_OPTIONS:+:$TSAN_OPTIONS}"

run=()
probe="$build/tests/test_threads"
if ! "$probe" --gtest_list_tests > /dev/null 2>&1; then
    if setarch "$(uname -m)" -R "$probe" --gtest_list_tests > /dev/null 2>&1; then
        echo "tsan.sh: running with address randomisation off (setarch -R)"
        run=(setarch "$(uname -m)" -R)
    else
        echo "tsan.sh: the TSan build does not start:" >&2
        "$probe" --gtest_list_tests >&2 || true
        exit 1
    fi
fi

"${run[@]}" ctest --test-dir "$build" -R '^threads\.' --output-on-failure
