#!/usr/bin/env bash
# Runs one set of documents through the build for this machine and through the one for Windows, and shows where what they
# leave differs: the log, records, work files, and what the spooler and the printers were given.
#   compare.sh NATIVE_BUILD WINDOWS_BUILD
set -euo pipefail
native=$(realpath "$1")
windows=$(realpath "$2")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# Both work in the same folder, one after the other: its path is logged.
"$native/bin/transcript" "$folder/work" 2>/dev/null
mv "$folder/work" "$folder/native"
"$(dirname "$0")/../../cmake/wine.sh" "$windows/wine" "$windows/bin/transcript.exe" "Z:$folder/work" 2>/dev/null
mv "$folder/work" "$folder/windows"

cd "$folder"
# What may differ between two runs, and the system's own texts.
find . -name 'print-monitor.log*' -exec env LC_ALL=C.UTF-8 sed -Ei '
    s/^[0-9]{4}-[0-9-]{5} [0-9:]{8},[0-9]{3} /<time> /
    s/ \[[0-9]+\](\r?)$/ [<thread>]\1/
    s/[0-9]+ ms/<n> ms/g
    s/(Duration = |current size is |counter is )[0-9]+/\1<n>/
    s/ - [^-]* \(Error: / - <text> (Error: /
    s/= [0-9A-F]{16}\b/= <address>/g
    s/addr = 0x\w+ 0x\w+ /addr = <port> /
    s/(username = |computer name of: |server_name: |print_server_name: )\S+/\1<name>/' {} +
if ! diff -ru --text --exclude={env-version,ts-print-monitor.exe} native windows; then
    echo "The builds differ."
    exit 1
fi
echo "The builds agree in $(find native -type f ! -name '*.exe' -exec cat {} + | wc -l) lines."
