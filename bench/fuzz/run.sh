#!/usr/bin/env bash
# Builds the libFuzzer targets (tests/fuzz) with clang into build-fuzz/ and
# runs each for the given time on a copy of its seed corpus, then prints one
# line per target: seconds, executions, coverage and what it found.
#
#   bench/fuzz/run.sh [SECONDS_PER_TARGET]     (default 600)
#   FUZZ_TARGETS="strings encoder"             (a subset; default all five)
#
# Exits 1 when any target found a crash, leak, timeout or out-of-memory; the
# inputs that caused them are kept in build-fuzz/fuzz-work/<target>/ and
# each becomes a regression test in the unit suites once fixed.
set -euo pipefail

root=$(cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/../.." && pwd)
seconds=${1:-600}
targets=(${FUZZ_TARGETS:-settings filelist strings record_options encoder})
build=$root/build-fuzz
work=$build/fuzz-work

cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
    -DFRAMEDECK_FUZZ=ON -DFRAMEDECK_TESTS=OFF -DFRAMEDECK_BENCH=OFF -DFRAMEDECK_WERROR=ON >/dev/null
nice cmake --build "$build" -j2 --target "${targets[@]/#/fuzz_}"

# Leaks inside system libraries are not ours (tests/lsan.supp); everything
# else the sanitizers see ends the run with a saved input.
export LSAN_OPTIONS="suppressions=$root/tests/lsan.supp:print_suppressions=0"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
export QT_QPA_PLATFORM=offscreen

found=0
rows=()
for t in "${targets[@]}"; do
    dir=$work/$t
    rm -rf "$dir"
    mkdir -p "$dir/corpus" "$dir/artifacts"
    cp "$root/tests/fuzz/corpus/$t/"* "$dir/corpus/"
    log=$dir/fuzz.log
    start=$(date +%s)
    # -close_fd_mask=3 keeps the targets' own log lines out; libFuzzer's and
    # the sanitizers' reports still come through. -timeout catches a hang.
    status=0
    extra=()
    # FUZZ_ENCODER_LEAKS=0 (CI's short run): the encoder target once reported
    # a leak of libx264's allocations at exit that no saved input repeats; it
    # is under investigation, and the ASan suite still checks every close path
    # of the encoder for leaks.
    if [[ $t == encoder && ${FUZZ_ENCODER_LEAKS:-1} == 0 ]]; then
        extra=(-detect_leaks=0)
    fi
    nice "$build/bin/fuzz_$t" "$dir/corpus" "${extra[@]}" -max_total_time="$seconds" -timeout=60 -rss_limit_mb=2560 \
        -close_fd_mask=3 -print_final_stats=1 -artifact_prefix="$dir/artifacts/" >"$log" 2>&1 || status=$?
    elapsed=$(($(date +%s) - start))
    execs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
    last=$(grep -E '^#[0-9]+' "$log" | tail -1 || true)
    cov=$(sed -n 's/.*cov: \([0-9]*\).*/\1/p' <<<"$last")
    ft=$(sed -n 's/.*ft: \([0-9]*\).*/\1/p' <<<"$last")
    crashes=$(find "$dir/artifacts" -type f | wc -l)
    if ((status != 0 || crashes > 0)); then
        found=1
        echo "== fuzz_$t: exit $status, artifacts in $dir/artifacts; last lines of $log:" >&2
        tail -40 "$log" >&2
    fi
    rows+=("$(printf '%-16s %8s %12s %8s %8s %8s' "$t" "$elapsed" "${execs:-?}" "${cov:-?}" "${ft:-?}" "$crashes")")
done

printf '%-16s %8s %12s %8s %8s %8s\n' target seconds executions cov ft crashes
printf '%s\n' "${rows[@]}"
exit "$found"
