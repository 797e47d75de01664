#!/usr/bin/env bash
# fuzz/run.sh [SECONDS]: builds the fuzz targets and runs each for a while, two at a time, SECONDS in all. The inputs
# that reach something new are kept in build/fuzz-corpus and are where the next run begins. Prints a line a target and,
# for each finding, the command that repeats it; ends with 1 when there was one.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-120}
targets=(conf records answers xcv names format)
build=${FUZZ_BUILD:-build/fuzz}
corpus=${FUZZ_GROWN:-build/fuzz-corpus}
at_a_time=2
each=$((seconds * at_a_time / ${#targets[@]}))
[[ $each -gt 0 ]] || each=1

mkdir -p build
printf 'Building %s ...\n' "$build" >&2
if ! { cmake --preset fuzz -B "$build" && cmake --build "$build" --parallel "$(nproc)" --target fuzz; } \
    </dev/null >"$build.log" 2>&1; then
    tail -n 60 "$build.log" >&2
    printf 'The build failed; the whole of its output is in %s.\n' "$build.log" >&2
    exit 1
fi

memory=/dev/shm
[[ -w $memory ]] || memory=${TMPDIR:-/tmp}
FUZZ_SCRATCH=$(mktemp -d "$memory/tsm-fuzz.XXXXXX")
export FUZZ_SCRATCH
trap 'rm -rf "$FUZZ_SCRATCH"' EXIT
export UBSAN_OPTIONS=print_stacktrace=1
# Fixed addresses: not every sanitizer copes with the widest address randomisation.
fixed=()
setarch "$(uname -m)" -R true 2>/dev/null && fixed=(setarch "$(uname -m)" -R)

# What the parser says goes to the standard error, which is closed to it here.
run_target() {
    local target=$1 found=$corpus/$1.findings
    mkdir -p "$corpus/$target" "$found"
    "${fixed[@]}" "$build/bin/fuzz_$target" -max_total_time="$each" -timeout=25 -rss_limit_mb=3000 -max_len=9000 \
        -close_fd_mask=2 -print_final_stats=1 -artifact_prefix="$found/" "$corpus/$target" "fuzz/corpus/$target" \
        >"$corpus/$target.log" 2>&1 && return 0
    return 1
}

declare -A process=()
failed=0
report() {
    local target=$1 result=0 runs coverage
    wait "${process[$target]}" || result=1
    runs=$(sed -nE 's/^stat::number_of_executed_units: *//p' "$corpus/$target.log")
    coverage=$(grep -oE 'cov: [0-9]+' "$corpus/$target.log" | tail -n1 || true)
    printf '%-8s %9s runs  %-10s %s\n' "$target" "${runs:-?}" "$coverage" "$([[ $result -eq 0 ]] && echo clean || echo FINDING)"
    [[ $result -eq 0 ]] && return 0
    failed=1
    local input
    input=$(sed -nE 's/.*Test unit written to //p' "$corpus/$target.log" | tail -n1)
    printf '    repeat it: %s %s\n' "$build/bin/fuzz_$target" "${input:-(see $corpus/$target.log)}"
}

for ((i = 0; i < ${#targets[@]}; i += at_a_time)); do
    batch=("${targets[@]:i:at_a_time}")
    for target in "${batch[@]}"; do
        run_target "$target" &
        process[$target]=$!
    done
    for target in "${batch[@]}"; do report "$target"; done
done
exit "$failed"
