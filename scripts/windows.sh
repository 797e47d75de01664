#!/usr/bin/env bash
# The Windows library: builds it here and runs under Wine what can run there. `./run windows` takes its steps from here;
# say() and what counts and times tests are there.
windows_folder=$PWD/build/windows
windows_native=$PWD/build/native

# A program under Wine, as the tests run it.
windows_wine() { cmake/wine.sh "$windows_folder/wine" "$@"; }

# The server of a prefix, as cmake/wine.sh starts it: windows_server PREFIX OPTION
windows_server() { env -u TMPDIR WINEPREFIX="$1" wineserver "$2"; }

# Waits, a minute at most, until a program has written into a file: windows_wait_for FILE
windows_wait_for() {
    local i
    for ((i = 0; i < 600; ++i)); do
        [[ ! -s $1 ]] || break
        sleep 0.1
    done
}

# Every ctest entry.
windows_test() {
    local names
    mapfile -t names < <(tests_of windows)
    run_tests windows 'cmake/wine.sh $PWD/build/windows/wine build/windows/bin/@.exe --gtest_filter=' "${names[@]}"
}

windows_compare() {
    local result=0
    say "Comparing the builds ..."
    tests/compare/compare.sh "$windows_native" "$windows_folder" >&2 || result=$?
    count $result "the builds differ"
}

# A file from spoolhost.exe under Wine, through the library, to a TCP printer that is a program of this machine.
windows_print() {
    local folder printer port result=0 i
    say "Printing from Wine to a printer outside ..."
    folder=$(mktemp -d)
    head -c 3000001 /dev/urandom >"$folder/document.prn"
    : >"$folder/log"  # there before anybody looks into it
    timeout 900 "$windows_native/bin/fakeprinter" --port 0 --store "$folder/received" --connections 4 \
        >"$folder/log" 2>&1 </dev/null &
    printer=$!
    windows_wait_for "$folder/log"
    port=$(sed -nE 's/^listening on .*:([0-9]+)$/\1/p' "$folder/log")
    windows_wine build/windows/bin/spoolhost.exe --printer "127.0.0.1:$port" --conf Debug=on --jobs 4 --ports 2 \
        --base "Z:$folder/install" "Z:$folder/document.prn" >&2 </dev/null || result=1
    wait "$printer" || result=1
    for i in 1 2 3 4; do
        cmp "$folder/received/connection-$i.bin" "$folder/document.prn" >&2 || result=1
    done
    count $result "what arrived outside Wine is not the document"
    rm -rf "$folder"
}

# Documents and ports through Wine's own spooler and the finished library.
windows_spooler() {
    local output=$windows_folder/reports/spooler.log result=0
    say "Printing through Wine's spooler ..."
    timeout 600 cmake/wine.sh "$windows_folder/wine-spooler" build/windows/bin/spooler_tests.exe \
        >"$output" 2>&1 </dev/null || result=$?
    count_cases "$output" $result \
        "cmake/wine.sh \$PWD/build/windows/wine-spooler build/windows/bin/spooler_tests.exe --gtest_filter="
}

# Every course of a document, as ./run demo shows them.
windows_demo() {
    local result=0
    say "The demo under Wine ..."
    windows_wine build/windows/bin/demo.exe >"$windows_folder/demo.log" 2>&1 </dev/null || result=1
    [[ $result -eq 0 ]] || cat "$windows_folder/demo.log" >&2
    count $result "not every course of the demo is as it should be"
}

# A program under Wine on a display of its own, with so many dots to the inch: windows_on_display DPI PROGRAM [ARGUMENT...]
windows_on_display() {
    local prefix=$windows_folder/wine-ui dpi=$1 server result=0
    shift
    cmake/wine.sh "$prefix" reg add 'HKCU\Control Panel\Desktop' /v LogPixels /t REG_DWORD /d "$dpi" /f >/dev/null
    # A desktop of Wine's own: no window manager is there to draw frames, and the display takes the focus from nobody.
    cmake/wine.sh "$prefix" reg add 'HKCU\Software\Wine\Explorer' /v Desktop /d Default /f >/dev/null
    cmake/wine.sh "$prefix" reg add 'HKCU\Software\Wine\Explorer\Desktops' /v Default /d 1600x1200 /f >/dev/null
    windows_server "$prefix" --wait  # both count from the next start
    : >"$windows_folder/display"
    Xvfb -displayfd 5 -screen 0 1600x1200x24 -nolisten tcp 5>"$windows_folder/display" >/dev/null 2>&1 </dev/null &
    server=$!
    windows_wait_for "$windows_folder/display"
    WINE_DISPLAY=:$(cat "$windows_folder/display") timeout 900 cmake/wine.sh "$prefix" "$@" </dev/null || result=$?
    windows_server "$prefix" --kill || true
    kill "$server" 2>/dev/null || true
    wait "$server" 2>/dev/null || true
    return $result
}

# The port dialogs, driven by simulated input.
windows_ui() {
    local output=$windows_folder/reports/ui.log result=0
    say "The port dialogs under Wine ..."
    windows_on_display 96 build/windows/ui/ui_tests.exe >"$output" 2>&1 || result=$?
    count_cases "$output" $result "GTEST_FILTER=CASE ./run windows ui, with CASE="
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
        windows_on_display "$dpi" build/windows/ui/ui_tests.exe Z:"$PWD/docs/dialogs" \
            --gtest_filter='*/0:-*Hundred*' >&2 || result=1
    done
    count $result "not every picture could be taken"
}

windows_package() {
    local check output result
    for check in package install; do
        say "The packages: check_$check ..."
        output=$windows_folder/reports/check_$check.log
        result=0
        tests/package/check_$check.py build/windows "$(version)" >"$output" 2>&1 || result=1
        count_cases "$output" $result "tests/package/check_$check.py build/windows $(version)"
    done
    packaging/package.py build/windows "$(version)"
}

# The packages, made from copies of the sources in two folders, in one of them without a compiler cache: the same bytes.
windows_reproduce() {
    local copies=("$scratch/one" "$scratch/a/second/folder") copy file result=0
    SOURCE_DATE_EPOCH=$(git log -1 --format=%ct)
    export SOURCE_DATE_EPOCH
    for copy in "${copies[@]}"; do
        say "Building in $copy ..."
        mkdir -p "$copy"
        git ls-files -z | xargs -0 cp --parents -t "$copy"
        [[ $copy == "${copies[0]}" ]] || export CCACHE_DISABLE=1
        # shellcheck disable=SC2046
        (cd "$copy" && cmake --preset windows && cmake --build build/windows --parallel "$jobs" --target $(shipped_targets) &&
            packaging/package.py build/windows "$(version)") </dev/null >"$copy.log" 2>&1 || { tail -n 60 "$copy.log" >&2; return 1; }
    done
    for file in $(cd "${copies[0]}" && find dist build/windows/bin -type f | sort); do
        cmp "${copies[@]/%//$file}" >&2 && continue
        result=1
        diffoscope --max-text-report-size 20000 "${copies[@]/%//$file}" | head -n 60 >&2 || true
    done
    count $result "two builds of the same sources differ"
}

# What documents cost in the shipped library, against a plain loop under Wine, too; options as for ./run bench.
windows_bench() {
    local result=0
    cmake_settings=(-DBENCH=ON)
    build native bench_receiver
    build windows bench
    say "Measuring under Wine ..."
    windows_server "$windows_folder/wine" --kill || true  # a new one starts in the benchmark's network
    build/native/bin/bench_receiver cmake/wine.sh "$windows_folder/wine" build/windows/bin/bench.exe \
        --json build/bench-windows.json "$@" </dev/null || result=$?
    count $result "not every bar is held"
}
