#!/usr/bin/env bash
# The Windows library: builds it here and runs under Wine what can run there. `./run windows` calls this file; called by
# hand, it takes the steps to do, or does them all:
#   tools/windows.sh [install] [build] [test] [compare] [print]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
windows_folder=$PWD/build/windows
windows_native=$PWD/build/native
windows_passed=0
windows_failed=0

windows_say() { printf '%s\n' "$*" >&2; }

# One more that passed or failed: windows_count STATUS WHAT
windows_count() {
    if [[ $1 -eq 0 ]]; then
        windows_passed=$((windows_passed + 1))
    else
        windows_failed=$((windows_failed + 1))
        windows_say "FAILED: $2"
    fi
}

windows_install() {
    local missing=() as_root=()
    command -v g++ >/dev/null || missing+=(g++)
    command -v x86_64-w64-mingw32-g++-posix >/dev/null || missing+=(g++-mingw-w64-x86-64-posix)
    command -v cmake >/dev/null || missing+=(cmake)
    command -v ninja >/dev/null || missing+=(ninja-build)
    command -v python3 >/dev/null || missing+=(python3)
    [[ -e /usr/include/gtest/gtest.h ]] || missing+=(libgtest-dev)
    [[ -e /usr/src/googletest/CMakeLists.txt ]] || missing+=(googletest)
    command -v wine >/dev/null || missing+=(wine)
    [[ -e /usr/lib/wine/wine64 ]] || missing+=(wine64)
    [[ ${#missing[@]} -eq 0 ]] && return
    if [[ $(id -u) -ne 0 ]]; then
        command -v sudo >/dev/null || { windows_say "Please install: ${missing[*]} (there is no sudo here)"; exit 1; }
        as_root=(sudo)
    fi
    windows_say "Installing with apt: ${missing[*]}"
    "${as_root[@]}" apt-get update -qq </dev/null >&2
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -qq --no-install-recommends "${missing[@]}" </dev/null >&2
}

# Both builds: the one for this machine is what the Windows one is compared with.
windows_build() {
    local preset targets
    mkdir -p build
    for preset in native windows; do
        windows_say "Building build/$preset ..."
        targets=()
        [[ $preset == windows ]] || targets=(--target transcript fakeprinter)
        if ! { cmake --preset "$preset" && cmake --build "build/$preset" "${targets[@]}"; } \
            </dev/null >"build/$preset.log" 2>&1; then
            tail -n 60 "build/$preset.log" >&2
            windows_say "The build failed; the whole of its output is in build/$preset.log."
            exit 1
        fi
    done
}

# A program under Wine, as the tests run it.
windows_wine() { cmake/wine.sh "$windows_folder/wine" "$@"; }

# Every ctest entry, its cases counted: those of GoogleTest, and those of programs that end with "N passed, N failed".
windows_test() {
    local names name output result cases bad
    mkdir -p "$windows_folder/reports"
    mapfile -t names < <(ctest --test-dir "$windows_folder" -N | sed -nE 's/^ *Test *#[0-9]+: //p')
    for name in "${names[@]}"; do
        windows_say "build/windows: $name ..."
        output=$windows_folder/reports/$name.log
        result=0
        ctest --test-dir "$windows_folder" -R "^$name\$" --verbose </dev/null >"$output" 2>&1 || result=$?
        cases=$(sed -nE 's/^.*\[  PASSED  \] ([0-9]+) tests?\..*/\1/p; s/^.* ([0-9]+) passed, [0-9]+ failed$/\1/p' "$output" | tail -1)
        bad=$(sed -nE 's/^.*\[  FAILED  \] ([0-9]+) tests?, listed below:.*/\1/p; s/^.* [0-9]+ passed, ([0-9]+) failed$/\1/p' \
            "$output" | tail -1)
        # A program that crashed or ran out of time has said nothing, and counts as one that failed.
        [[ $result -eq 0 || ${bad:-0} -ne 0 ]] || bad=1
        windows_passed=$((windows_passed + ${cases:-0}))
        windows_failed=$((windows_failed + ${bad:-0}))
        [[ $result -eq 0 ]] || grep -vE '\[ +(OK|RUN) +' "$output" | tail -n 100 >&2
    done
}

windows_compare() {
    local result=0
    windows_say "Comparing the builds ..."
    tests/compare/compare.sh "$windows_native" "$windows_folder" >&2 || result=$?
    windows_count $result "the builds differ"
}

# A file from spoolhost.exe under Wine, through the library, to a TCP printer that is a program of this machine.
windows_print() {
    local folder port='' result=0 printer i
    windows_say "Printing from Wine to a printer outside ..."
    folder=$(mktemp -d /tmp/windows-print-XXXXXX)
    head -c 3000001 /dev/urandom >"$folder/document.prn"
    : >"$folder/printer.log"
    timeout 120 "$windows_native/bin/fakeprinter" --port 0 --connections 4 --store "$folder/received" \
        >"$folder/printer.log" 2>&1 </dev/null &
    printer=$!
    for ((i = 0; i < 100; ++i)); do
        port=$(sed -nE 's/^listening on .*:([0-9]+)$/\1/p' "$folder/printer.log")
        [[ -z $port ]] || break
        sleep 0.1
    done
    windows_wine build/windows/bin/spoolhost.exe --printer "127.0.0.1:$port" --conf Debug=on --jobs 4 --ports 2 \
        --base "Z:$folder/install" "Z:$folder/document.prn" >&2 </dev/null || result=1
    wait "$printer" || result=1
    for i in 1 2 3 4; do
        cmp "$folder/received/connection-$i.bin" "$folder/document.prn" >&2 || result=1
    done
    windows_count $result "what arrived outside Wine is not the document"
    rm -rf "$folder"
}

windows_all() {
    local step
    [[ $# -gt 0 ]] || set -- install build test compare print
    for step in "$@"; do
        "windows_$step"
    done
    printf '%d passed, %d failed\n' "$windows_passed" "$windows_failed"
    [[ $windows_failed -eq 0 ]]
}

if [[ ${BASH_SOURCE[0]} == "$0" ]]; then
    windows_all "$@"
fi
