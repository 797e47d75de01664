#!/usr/bin/env bash
# The Windows library: builds it here and runs under Wine what can run there. `./run windows` takes its steps from here;
# say() and what counts and times tests are there.
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

# The server of a prefix, as cmake/wine.sh starts it: windows_server PREFIX OPTION
windows_server() { env -u TMPDIR WINEPREFIX="$1" wineserver "$2"; }

# windows_count_cases OUTPUT STATUS REPEAT: the cases in the output of a program that GoogleTest drives, or that ends with
# "N passed, N failed". REPEAT is the command that the name of a case completes, or repeats all where there are no cases.
windows_count_cases() {
    local output=$1 result=$2 repeat=$3 cases bad
    cases=$(sed -nE 's/^.*\[  PASSED  \] ([0-9]+) tests?\..*/\1/p; s/^(.* )?([0-9]+) passed, [0-9]+ failed$/\2/p' "$output" | tail -1)
    bad=$(sed -nE 's/^.*\[  FAILED  \] ([0-9]+) tests?, listed below:.*/\1/p; s/^(.* )?[0-9]+ passed, ([0-9]+) failed$/\2/p' \
        "$output" | tail -1)
    # A program that crashed or ran out of time has said nothing, and counts as one that failed.
    [[ $result -eq 0 || ${bad:-0} -ne 0 ]] || bad=1
    windows_passed=$((windows_passed + ${cases:-0}))
    windows_failed=$((windows_failed + ${bad:-0}))
    [[ $result -ne 0 ]] || return 0
    say_what_failed "$output" "$repeat"
    say "The whole of it is in $output."
}

# Every ctest entry.
windows_test() {
    local names name output result started number=0
    mkdir -p "$windows_folder/reports"
    mapfile -t names < <(tests_of windows)
    for name in "${names[@]}"; do
        say "build/windows: $name ($((++number)) of ${#names[@]}) ..."
        output=$windows_folder/reports/$name.log
        result=0
        started=$EPOCHREALTIME
        ctest --test-dir "$windows_folder" -R "^$name\$" --verbose </dev/null >"$output" 2>&1 || result=$?
        note_time "build/windows: $name" "$started"
        windows_count_cases "$output" $result \
            "cmake/wine.sh \$PWD/build/windows/wine build/windows/bin/$name.exe --gtest_filter="
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
    local folder printer port='' result=0 i
    say "Printing from Wine to a printer outside ..."
    folder=$(mktemp -d)
    head -c 3000001 /dev/urandom >"$folder/document.prn"
    : >"$folder/log"  # there before anybody looks into it
    timeout 900 "$windows_native/bin/fakeprinter" --port 0 --store "$folder/received" --connections 4 \
        >"$folder/log" 2>&1 </dev/null &
    printer=$!
    for ((i = 0; i < 100; ++i)); do
        port=$(sed -nE 's/^listening on .*:([0-9]+)$/\1/p' "$folder/log")
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

# Documents and ports through Wine's own spooler and the finished library.
windows_spooler() {
    local output=$windows_folder/reports/spooler.log result=0
    say "Printing through Wine's spooler ..."
    mkdir -p "$windows_folder/reports"
    timeout 600 cmake/wine.sh "$windows_folder/wine-spooler" build/windows/bin/spooler_tests.exe \
        >"$output" 2>&1 </dev/null || result=$?
    windows_count_cases "$output" $result \
        "cmake/wine.sh \$PWD/build/windows/wine-spooler build/windows/bin/spooler_tests.exe --gtest_filter="
}

# Every course of a document, as ./run demo shows them.
windows_demo() {
    local result=0
    say "The demo under Wine ..."
    windows_wine build/windows/bin/demo.exe >"$windows_folder/demo.log" 2>&1 </dev/null || result=1
    [[ $result -eq 0 ]] || cat "$windows_folder/demo.log" >&2
    windows_count $result "not every course of the demo is as it should be"
}

# A program under Wine on a display of its own, with so many dots to the inch: windows_on_display DPI PROGRAM [ARGUMENT...]
windows_on_display() {
    local prefix=$windows_folder/wine-ui dpi=$1 number='' server result=0
    shift
    cmake/wine.sh "$prefix" reg add 'HKCU\Control Panel\Desktop' /v LogPixels /t REG_DWORD /d "$dpi" /f >/dev/null
    # A desktop of Wine's own: no window manager is there to draw frames, and the display takes the focus from nobody.
    cmake/wine.sh "$prefix" reg add 'HKCU\Software\Wine\Explorer' /v Desktop /d Default /f >/dev/null
    cmake/wine.sh "$prefix" reg add 'HKCU\Software\Wine\Explorer\Desktops' /v Default /d 1600x1200 /f >/dev/null
    windows_server "$prefix" --wait  # both count from the next start
    : >"$windows_folder/display"
    Xvfb -displayfd 5 -screen 0 1600x1200x24 -nolisten tcp 5>"$windows_folder/display" >/dev/null 2>&1 </dev/null &
    server=$!
    while kill -0 "$server" 2>/dev/null; do
        number=$(cat "$windows_folder/display")
        [[ -z $number ]] || break
        sleep 0.1
    done
    WINE_DISPLAY=:$number timeout 900 cmake/wine.sh "$prefix" "$@" </dev/null || result=$?
    windows_server "$prefix" --kill || true
    kill "$server" 2>/dev/null || true
    wait "$server" 2>/dev/null || true
    return $result
}

# The port dialogs, driven by simulated input.
windows_ui() {
    local output=$windows_folder/reports/ui.log result=0
    say "The port dialogs under Wine ..."
    mkdir -p "$windows_folder/reports"
    windows_on_display 96 build/windows/ui/ui_tests.exe >"$output" 2>&1 || result=$?
    windows_count_cases "$output" $result "GTEST_FILTER=CASE ./run windows ui, with CASE="
}

# The pictures of the dialogs in docs/, in the fonts that Debian has for Wine.
windows_pictures() {
    local dpi result=0 fonts=$windows_folder/wine-ui/drive_c/windows/Fonts
    install_missing /usr/share/wine/fonts/tahoma.ttf=fonts-wine
    say "Pictures of the port dialogs ..."
    cmake/wine.sh "$windows_folder/wine-ui" reg add \
        'HKLM\Software\Microsoft\Windows NT\CurrentVersion\FontSubstitutes' /v 'Segoe UI' /d Tahoma /f >/dev/null
    ln -sf /usr/share/wine/fonts/*.ttf "$fonts/"
    mkdir -p docs/dialogs
    for dpi in 96 192; do
        windows_on_display "$dpi" build/windows/ui/ui_tests.exe --pictures Z:"$PWD/docs/dialogs" \
            --gtest_filter='*/0:-*Hundred*' >&2 || result=1
    done
    windows_count $result "not every picture could be taken"
}

windows_package() {
    local check output result
    mkdir -p "$windows_folder/reports"
    for check in package install signature; do
        say "The packages: check_$check ..."
        output=$windows_folder/reports/check_$check.log
        result=0
        tests/package/check_$check.py build/windows "$(version)" >"$output" 2>&1 || result=1
        windows_count_cases "$output" $result "tests/package/check_$check.py build/windows $(version)"
    done
    packaging/package.sh build/windows "$(version)"
}

# What documents cost in the shipped library, against a plain loop under Wine, too; options as for ./run bench.
windows_bench() {
    local result=0 ports=$windows_folder/receiver receiver i
    cmake_settings=(-DBENCH=ON)
    build native bench_receiver
    build windows bench
    say "Measuring under Wine ..."
    : >"$ports"
    "$windows_native/bin/bench_receiver" >"$ports" </dev/null &
    receiver=$!
    for ((i = 0; i < 100; ++i)); do
        [[ ! -s $ports ]] || break
        sleep 0.1
    done
    windows_wine build/windows/bin/bench.exe --receiver "$(tr ' ' : <"$ports")" --json build/bench-windows.json "$@" \
        </dev/null || result=$?
    kill "$receiver" 2>/dev/null || true
    windows_count $result "not every bar is held"
}
