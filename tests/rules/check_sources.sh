#!/usr/bin/env bash
# Rules of the sources that no compiler checks, found by looking. Prints each breach and a closing count.
set -uo pipefail
cd "$(dirname "$0")/../.."

passed=0
failed=0

# forbid WHAT PATTERN FOLDER... : no line of these folders' sources matches.
forbid() {
    local what=$1 pattern=$2 hits
    shift 2
    hits=$(grep -rnE --include='*.cpp' --include='*.h' "$pattern" "$@" | grep -vE '^[^:]+:[0-9]+: *//')
    if [[ -z $hits ]]; then
        passed=$((passed + 1))
    else
        failed=$((failed + 1))
        printf '%s:\n%s\n' "$what" "$hits"
    fi
}

forbid "bounded text only" '\b(strcpy|strcat|v?sprintf|gets|atoi|atol|wcscpy|wcscat|lstrcpyW|lstrcatW)\(' common winportmon
forbid "the runtime's formatting is used in format.cpp alone" '[^_]\bv?(s|f)?n?printf\(' winportmon
forbid "the product never ends the process" '\b(abort|exit|_exit|terminate|quick_exit|assert)\(' common winportmon
forbid "no exceptions in the product" '\b(throw|try|catch)\b *[({]' common winportmon
forbid "the product's memory comes from the heap's functions" '(=|return|\() *new [A-Za-z]|^ *delete(\[\])? ' common winportmon
forbid "no condition on the platform but in winapi.h" '^ *# *(if|ifdef|ifndef|elif).*(_WIN32|_WIN64|__linux__|__unix__|__MINGW)' \
    common winportmon host tsport testbed tests winapi/linux winapi/spooler_sim
forbid "Windows is seen through winapi.h alone" '^ *# *include *[<"](windows|winsock2|ws2tcpip|winspool|winsplp|io|direct|unistd|pthread|dlfcn|sys/|netinet/|arpa/|winapi/linux)' \
    common winportmon
forbid "wide text is written W(\"...\")" '(^|[^A-Za-z_0-9])L"|\bwchar_t\b|\bwcs[a-z]+\(' common winportmon
forbid "common knows nothing of the monitor" '# *include *"(winportmon|host|tsport|testbed|tests)/' common
forbid "what the outside knows is named in contract/ alone" 'W\("(HostName|PortNumber|InstallPath|MonitorUI|TS[A-Z][a-z]+[A-Za-z]*)"\)|W\("Tessaron|Wow6432Node.*ts-print-provider|"print-(provider\.conf|monitor\.log)"' \
    common/*.cpp winportmon/tsmon winportmon/tsmonui winapi host tsport testbed bench --exclude=standard_ports.cpp
forbid "contract/ knows nothing of the products" '# *include *"(common|winportmon/tsmon)' winportmon/contract
forbid "the monitor knows nothing of its dialogs" '# *include *"winportmon/tsmonui/' common winportmon/tsmon
forbid "the monitor knows nothing of tools and tests" '# *include *"(host|tsport|testbed|tests)/' winportmon
forbid "what is shipped knows nothing of the test bed" '# *include *"(testbed|tests)/' host tsport
forbid "the layer knows nothing of what is built on it" '# *include *"(common|winportmon|host|tsport|testbed|tests)/' winapi

printf '%d passed, %d failed\n' "$passed" "$failed"
[[ $failed -eq 0 ]]
