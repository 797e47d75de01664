#!/usr/bin/env bash
# The Windows library: builds it here and runs under Wine what can run there. `./run windows` takes its steps from here;
# say() and version() are there.
windows_folder=$PWD/build/windows
windows_native=$PWD/build/native
windows_passed=0
windows_failed=0

# One more that passed or failed: windows_count STATUS WHAT
windows_count() {
    if [[ $1 -eq 0 ]]; then
        windows_passed=$((windows_passed + 1))
    else
        windows_failed=$((windows_failed + 1))
        say "FAILED: $2"
    fi
}

# A program under Wine, as the tests run it.
windows_wine() { cmake/wine.sh "$windows_folder/wine" "$@"; }

# Every ctest entry, its cases counted: those of GoogleTest, and those of programs that end with "N passed, N failed".
windows_test() {
    local names name output result cases bad
    mkdir -p "$windows_folder/reports"
    mapfile -t names < <(ctest --test-dir "$windows_folder" -N | sed -nE 's/^ *Test *#[0-9]+: //p')
    for name in "${names[@]}"; do
        say "build/windows: $name ..."
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
    say "Comparing the builds ..."
    tests/compare/compare.sh "$windows_native" "$windows_folder" >&2 || result=$?
    windows_count $result "the builds differ"
}

# A file from spoolhost.exe under Wine, through the library, to a TCP printer that is a program of this machine.
windows_print() {
    local folder port='' result=0 printer i
    say "Printing from Wine to a printer outside ..."
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

# Every course of a document, as ./run demo shows them.
windows_demo() {
    local result=0
    say "The demo under Wine ..."
    windows_wine build/windows/bin/demo.exe >"$windows_folder/demo.log" 2>&1 </dev/null || result=1
    [[ $result -eq 0 ]] || cat "$windows_folder/demo.log" >&2
    windows_count $result "not every course of the demo is as it should be"
}

windows_package() {
    local report result=0
    say "Packing ..."
    report=$(tests/package/check_package.py build/windows "$(version)") || result=1
    [[ $result -eq 0 ]] || say "$report"
    windows_passed=$((windows_passed + $(sed -nE 's/^([0-9]+) passed, .*/\1/p' <<<"$report" | tail -1)))
    windows_failed=$((windows_failed + $(sed -nE 's/^[0-9]+ passed, ([0-9]+) failed.*/\1/p' <<<"$report" | tail -1)))
    packaging/package.sh build/windows "$(version)"
}
