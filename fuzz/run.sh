#!/usr/bin/env bash
# fuzz/run.sh [SECONDS]: builds the fuzz targets and runs each for a while, two at a time, SECONDS in all. The inputs
# that reach something new are kept in build/fuzz-corpus and are where the next run begins. Prints one line per target and,
# for each finding, the command that repeats it; ends with 1 when there was one.
set -euo pipefail
cd "$(dirname "$0")/.."

targets=(conf records answers xcv names report events)
at_a_time=2
build=${FUZZ_BUILD:-build/fuzz}
corpus=${FUZZ_GROWN:-build/fuzz-corpus}
each=$((${1:-120} * at_a_time / ${#targets[@]}))
[[ $each -gt 0 ]] || each=1

mkdir -p build
printf 'Building %s ...\n' "$build" >&2
if ! { cmake --preset fuzz -B "$build" && cmake --build "$build" --parallel "$(nproc)" --target fuzz; } \
    </dev/null >"$build.log" 2>&1; then
    tail -n 60 "$build.log" >&2
    printf 'The build failed; the whole of its output is in %s.\n' "$build.log" >&2
    exit 1
fi

TMPDIR=$(mktemp -d)
trap 'rm -rf "$TMPDIR"' EXIT
export UBSAN_OPTIONS=print_stacktrace=1 TMPDIR each build corpus

# What the parser says goes to the standard error, which is closed to it here.
# Names of functions would start a symbolizer, which the targets take for a helper that was left over.
run_target() {
    local target=$1 found=$corpus/$1.findings result=clean runs coverage
    mkdir -p "$corpus/$target" "$found"
    "$build/bin/fuzz_$target" -max_total_time="$each" -timeout=25 -rss_limit_mb=3000 -max_len=9000 \
        -close_fd_mask=2 -print_final_stats=1 -print_funcs=0 -artifact_prefix="$found/" \
        "$corpus/$target" "fuzz/corpus/$target" >"$corpus/$target.log" 2>&1 || result=FINDING
    runs=$(sed -nE 's/^stat::number_of_executed_units: *//p' "$corpus/$target.log")
    coverage=$(grep -oE 'cov: [0-9]+' "$corpus/$target.log" | tail -n1 || true)
    printf '%-8s %9s runs  %-10s %s\n' "$target" "${runs:-?}" "$coverage" "$result"
    [[ $result == clean ]] && return 0
    printf '    repeat it: %s %s\n' "$build/bin/fuzz_$target" \
        "$(sed -nE 's/.*Test unit written to //p' "$corpus/$target.log" | tail -n1)"
    return 1
}
export -f run_target

# Fixed addresses: not every sanitizer copes with the widest address randomisation.
fixed=()
setarch "$(uname -m)" -R true 2>/dev/null && fixed=(setarch "$(uname -m)" -R)
# shellcheck disable=SC2016
printf '%s\n' "${targets[@]}" | "${fixed[@]}" xargs -n 1 -P "$at_a_time" bash -c 'run_target "$1" || exit 1' _ || exit 1
