#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs every GoogleTest executable once under valgrind memcheck, in a plain
# build (no sanitizers), and prints per executable the bytes definitely and
# indirectly lost and the invalid accesses found. Fails when any executable
# loses memory, touches memory it must not, or fails a test.
#
#   scripts/valgrind.sh                 everything
#   scripts/valgrind.sh test_base64 ... only these executables
#   BUILD_DIR=... JOBS=... LOG_DIR=...  where to build and log (build/valgrind,
#                                       2 compile jobs, $BUILD_DIR/valgrind-logs)
#
# Each executable runs once with all its tests, in the directory and with
# the environment ctest gives it (the tests that need the generated locale
# point LOCPATH at it themselves). Children that tests start by fork+exec
# run without valgrind (--trace-children=no); forked children stay under
# it but report nothing (--child-silent-after-fork=yes).
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

build=${BUILD_DIR:-build/valgrind}
jobs=${JOBS:-2}
logs=${LOG_DIR:-$build/valgrind-logs}

# Tests left out, one line each: executable, test (a gtest filter pattern),
# reason. Only two reasons count: the test would run for far longer than
# ten minutes under memcheck (none does today: the slowest executable,
# test_base64, takes about five), or it cannot pass under valgrind at all.
# The heap tests below compare mallinfo2() figures, which valgrind's own
# malloc leaves at 0; what they prove (a dropped document is freed) is what
# the leak check here proves too, and scripts/test.sh runs them under ASan.
excluded=(
    "test_compat_handles lifetime.last_handle_releases_the_document mallinfo2() reads 0 under valgrind"
    "test_facade_lifecycle facade_memory.document_lives_while_any_object_holds_it mallinfo2() reads 0 under valgrind"
)

command -v valgrind > /dev/null || { echo "valgrind.sh: valgrind is not installed" >&2; exit 1; }

cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DXMLUTIL_BUILD_TESTS=ON \
    -DXMLUTIL_BUILD_EXAMPLES=OFF -DXMLUTIL_BUILD_TOOLS=OFF -DXMLUTIL_BUILD_BENCH=OFF \
    -DXMLUTIL_SANITIZE=OFF -DXMLUTIL_TSAN=OFF -DXMLUTIL_FUZZ=OFF > /dev/null

# The executables: what tests/CMakeLists.txt builds from the test_*.cpp files.
if (($# > 0)); then
    tests=("$@")
else
    tests=()
    for source in tests/test_*.cpp; do
        name=$(basename "$source" .cpp)
        grep -qx "    $name" tests/CMakeLists.txt && tests+=("$name")
    done
fi
cmake --build "$build" --target "${tests[@]}" -j "$jobs"

supp=()
if [[ -f tests/valgrind.supp ]]; then
    supp=(--suppressions="$root/tests/valgrind.supp")
fi

mkdir -p "$logs"
logs=$(cd "$logs" && pwd)

# The gtest filter that leaves out this executable's excluded tests.
filter_for() {
    local exe=$1 negative="" entry
    for entry in "${excluded[@]}"; do
        read -r name pattern _ <<< "$entry"
        if [[ $name == "$exe" ]]; then
            negative+="${negative:+:}$pattern"
        fi
    done
    echo "${negative:+-$negative}"
}

if ((${#excluded[@]} > 0)); then
    echo "Excluded under valgrind:"
    for entry in "${excluded[@]}"; do
        echo "  $entry"
    done
else
    echo "Excluded under valgrind: nothing"
fi

# "definitely lost: 1,234 bytes in 5 blocks" -> 1234; 0 when the line is
# missing (no leak summary: nothing leaked).
lost_bytes() {
    local kind=$1 log=$2 value
    value=$({ grep -E "==[0-9]+==  +$kind: " "$log" || true; } | tail -n 1 |
        sed -E 's/.*: ([0-9,]+) bytes.*/\1/' | tr -d ,)
    echo "${value:-0}"
}

# The count of gtest's closing "[  PASSED  ] 12 tests." line and its kin; 0 if absent.
gtest_count() {
    local word=$1 out=$2 value
    value=$({ grep -E "^\[ +$word +\] [0-9]+ test" "$out" || true; } | tail -n 1 | sed -E 's/.*\] ([0-9]+) test.*/\1/')
    echo "${value:-0}"
}

status=0
rows=()
began=$(date +%s)
for name in "${tests[@]}"; do
    exe="$root/$build/tests/$name"
    log="$logs/$name.memcheck.log"
    out="$logs/$name.out"
    filter=$(filter_for "$name")
    args=()
    [[ -n $filter ]] && args=(--gtest_filter="$filter")
    echo "== $name ${args[*]}"
    start=$(date +%s)
    set +e
    (cd "$root/$build/tests" &&
        valgrind --tool=memcheck --leak-check=full --show-leak-kinds=definite,indirect \
            --errors-for-leak-kinds=definite,indirect --error-exitcode=99 --track-origins=no \
            --trace-children=no --child-silent-after-fork=yes --num-callers=30 "${supp[@]}" \
            --log-file="$log" "$exe" "${args[@]}") > "$out" 2>&1
    rc=$?
    set -e
    seconds=$(($(date +%s) - start))

    definite=$(lost_bytes "definitely lost" "$log")
    indirect=$(lost_bytes "indirectly lost" "$log")
    # Leaks of Xerces-C itself that tests/valgrind.supp excuses, shown so that a change stands out.
    suppressed=$(lost_bytes "suppressed" "$log")
    reads=$(grep -c "Invalid read of size" "$log" || true)
    writes=$(grep -c "Invalid write of size" "$log" || true)
    # Uninitialised values, bad frees, overlapping copies and the like.
    others=$(grep -cE "Conditional jump or move depends|Use of uninitialised value|Syscall param .* (uninitialised|unaddressable)|Invalid free|Mismatched free|Source and destination overlap|Argument .* of function .* has a fishy" "$log" || true)
    errors=$({ grep -E "ERROR SUMMARY: " "$log" || true; } | tail -n 1 |
        sed -E 's/.*ERROR SUMMARY: ([0-9,]+) errors.*/\1/' | tr -d ,)
    errors=${errors:-?}
    passed=$(gtest_count PASSED "$out")
    failed=$(gtest_count FAILED "$out")
    skipped=$(gtest_count SKIPPED "$out")

    verdict=ok
    if [[ $rc -ne 0 || $definite != 0 || $indirect != 0 || $reads != 0 || $writes != 0 || $others != 0 ]]; then
        verdict=FAIL
        status=1
    fi
    rows+=("$(printf '%-24s %10s %10s %10s %6s %6s %6s %6s %15s %6ss %4s  %s' "$name" "$definite" "$indirect" \
        "$suppressed" "$reads" "$writes" "$others" "$errors" "$passed/$failed/$skipped" "$seconds" "$rc" "$verdict")")
    echo "   rc $rc, definitely lost $definite B, indirectly lost $indirect B, invalid reads $reads," \
        "invalid writes $writes, other errors $others, ${seconds}s"
done

echo
printf '%-24s %10s %10s %10s %6s %6s %6s %6s %15s %7s %4s  %s\n' "executable" "definite B" "indirect B" \
    "suppr. B" "inv.rd" "inv.wr" "other" "errors" "pass/fail/skip" "time" "rc" "verdict"
for row in "${rows[@]}"; do
    echo "$row"
done
echo
echo "Logs: $logs (NAME.memcheck.log from valgrind, NAME.out from the tests)"
echo "Total time under valgrind: $(($(date +%s) - began))s"
if ((status == 0)); then
    echo "valgrind.sh: no leaks, no invalid accesses, every test passed"
else
    echo "valgrind.sh: FAILED (see the verdict column and the logs)" >&2
fi
exit $status
