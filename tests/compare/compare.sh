#!/usr/bin/env bash
# Runs one set of documents through the build for this machine and through the one for Windows, and shows where their
# transcripts differ:
#   compare.sh NATIVE_BUILD WINDOWS_BUILD
set -euo pipefail
native=$(realpath "$1")
windows=$(realpath "$2")
# Both work in the same folder, one after the other: its path stands in the log.
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

"$native/bin/transcript" "$folder/work" "$folder/native" 2>/dev/null
"$(dirname "$0")/../../cmake/wine.sh" "$windows/wine" "$windows/bin/transcript.exe" \
    "Z:$folder/work" "Z:$folder/windows" 2>/dev/null
lines=$(wc -l <"$folder/native")
if ! diff -u --text "$folder/native" "$folder/windows"; then
    echo "The builds differ."
    exit 1
fi
echo "The builds agree in $lines lines."
