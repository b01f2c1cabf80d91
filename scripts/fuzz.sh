#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the libFuzzer targets (clang, ASan + UBSan) and runs each for a while.
# Usage: scripts/fuzz.sh [SECONDS] [TARGET ...]
#   SECONDS  how long each target runs (default 60)
#   TARGET   documents, base64, strings (default: all of them)
#
# Each target works on a scratch corpus in build/fuzz-work/<target>/corpus,
# seeded from fuzz/corpus/<target> and fuzz/regressions/<target>; what the
# fuzzer finds interesting stays there for the next run, the repository is
# never written. A crash, leak, timeout, out-of-memory or sanitizer report
# is a finding: the script prints the path of the input that caused it and
# exits non-zero after all targets have run. Copy a finding into
# fuzz/regressions/<target>/ (named for the bug) to keep it under ctest.
#
# Environment: JOBS (parallel build jobs, default 2), FUZZ_ARGS (more
# libFuzzer options for every target, e.g. "-jobs=4 -workers=4").
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)

all_targets=(documents base64 strings)
seconds=60
if [ $# -gt 0 ] && [[ $1 =~ ^[0-9]+$ ]]; then
    seconds=$1
    shift
fi
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
    targets=("${all_targets[@]}")
fi
for target in "${targets[@]}"; do
    case $target in
    documents | base64 | strings) ;;
    *)
        echo "unknown target '$target' (known: ${all_targets[*]})" >&2
        exit 2
        ;;
    esac
done

# clang with its sanitizer and libFuzzer runtimes, llvm-symbolizer for the
# stack traces of a finding.
scripts/deps.sh clang libclang-rt-14-dev llvm

build=build/fuzz
if [ ! -f "$build/CMakeCache.txt" ]; then
    CC=clang CXX=clang++ cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DXMLUTIL_FUZZ=ON \
        -DXMLUTIL_BUILD_TESTS=OFF -DXMLUTIL_BUILD_EXAMPLES=OFF -DXMLUTIL_BUILD_TOOLS=OFF > /dev/null
fi
cmake --build "$build" -j "${JOBS:-2}" --target "${targets[@]/#/fuzz_}" > /dev/null

# Per target: the longest input to try, and extra options.
declare -A max_len=([documents]=16384 [base64]=4096 [strings]=1024)
declare -A extra=([documents]="-dict=$root/fuzz/xml.dict")

export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:strict_string_checks=1:detect_stack_use_after_return=1:fast_unwind_on_malloc=0}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"
export LSAN_OPTIONS="${LSAN_OPTIONS:-suppressions=$root/tests/lsan.supp}"

# The strings target runs under the unit tests' locale, whose LC_CTYPE marks
# the byte 0xA0 as white space: the library's white-space rule asks the
# locale about bytes above 0x7F, and the default locale answers no for all
# of them. Built from tests/data/nbsp-space.src; localedef complains about
# the categories the source leaves out but writes LC_CTYPE.
locales=$root/build/fuzz-work/locales
nbsp_locale=xx_NBSP.ISO-8859-1
if [ ! -f "$locales/$nbsp_locale/LC_CTYPE" ]; then
    mkdir -p "$locales"
    localedef -c -f ISO-8859-1 -i tests/data/nbsp-space.src "$locales/$nbsp_locale" > /dev/null 2>&1 || true
fi

findings=0
summary=()
for target in "${targets[@]}"; do
    work=$root/build/fuzz-work/$target
    mkdir -p "$work/corpus" "$work/artifacts"
    cp -Rn "fuzz/corpus/$target/." "$work/corpus/" 2> /dev/null || true
    if [ -d "fuzz/regressions/$target" ]; then
        cp -Rn "fuzz/regressions/$target/." "$work/corpus/" 2> /dev/null || true
    fi
    find "$work/corpus" -name '.*' -type f -delete
    log=$work/fuzz.log
    echo "== $target: $seconds s, log in $log"
    status=0
    locale_env=()
    if [ "$target" = strings ] && [ -f "$locales/$nbsp_locale/LC_CTYPE" ]; then
        locale_env=(env -u LC_ALL LOCPATH="$locales" LC_CTYPE="$nbsp_locale")
    fi
    # In the work directory, so that the logs of -jobs and any relative path
    # a document names stay out of the repository; stdin is /dev/null, as a
    # document may name /dev/stdin as its DTD. The option lists are split
    # into words on purpose.
    # shellcheck disable=SC2086
    (cd "$work" && exec ${locale_env[@]+"${locale_env[@]}"} "$root/$build/fuzz/fuzz_$target" "$work/corpus" \
        -max_total_time="$seconds" -detect_leaks=1 -timeout=30 -max_len="${max_len[$target]}" \
        -print_final_stats=1 -artifact_prefix="$work/artifacts/" ${extra[$target]:-} ${FUZZ_ARGS:-} \
        < /dev/null > "$log" 2>&1) || status=$?
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
    rate=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log" | tail -n 1)
    corpus=$(find "$work/corpus" -type f | wc -l)
    if [ "$status" -ne 0 ]; then
        findings=$((findings + 1))
        echo "!! $target: finding (exit $status)"
        grep -E '^(==[0-9]+==ERROR|SUMMARY|fuzz_)' "$log" | head -n 5 || true
        grep -o 'Test unit written to .*' "$log" | sed 's/^Test unit written to /   input: /' || true
        summary+=("$target: FINDING, ${runs:-?} runs, ${rate:-?} exec/s")
    else
        summary+=("$target: ok, ${runs:-?} runs, ${rate:-?} exec/s, corpus $corpus files")
    fi
done

echo "== summary"
printf '   %s\n' "${summary[@]}"
if [ "$findings" -ne 0 ]; then
    echo "$findings target(s) with findings; inputs are in build/fuzz-work/<target>/artifacts/" >&2
    exit 1
fi
