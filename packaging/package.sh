#!/usr/bin/env bash
# Packs what an administrator gets:
#   package.sh BUILD_DIR VERSION [DIST_DIR]
# leaves in DIST_DIR (dist/ of this checkout) the installer tsprintportmon-VERSION-x64.msi, and the same files and their
# symbols as tsprintportmon-VERSION-win-x64.zip. The same files at the same commit give the same bytes: names are in a
# fixed order and all times are the commit's.
#
# Where SIGN_PKCS12 names a file with a certificate and its key, and SIGN_PASSWORD_FILE one with the password, the binaries
# and the installer are signed; SIGN_TIMESTAMP_URL may name a server for time stamps. Signatures have a time of their own.
set -euo pipefail

if [[ $# -lt 2 || $# -gt 3 ]]; then
    echo "usage: package.sh BUILD_DIR VERSION [DIST_DIR]" >&2
    exit 2
fi
here=$(cd "$(dirname "$0")" && pwd)
version=$2
# Outside a checkout the time is that of the archive's sources, if anybody says so.
commit_time=$(git -C "$here" log -1 --format=%ct 2>/dev/null || echo "${SOURCE_DATE_EPOCH:-0}")
dist=${3:-$here/../dist}
mkdir -p "$dist"
dist=$(cd "$dist" && pwd)
files=$(mktemp -d)
trap 'rm -rf "$files"' EXIT

# Turns @NAME@ into what the code has for it.
names=$(sed -nE 's/^#define ([A-Z_]+) "(.*)"$/s|@\1@|\2|g/p' "$here/../winportmon/contract/names.h")

sign() {
    [[ -n ${SIGN_PKCS12:-} ]] || return 0
    osslsigncode sign -pkcs12 "$SIGN_PKCS12" -readpass "$SIGN_PASSWORD_FILE" -h sha256 \
        -n "$(sed "$names" <<<"@MONITOR_NAME@ monitor")" \
        ${SIGN_TIMESTAMP_URL:+-ts "$SIGN_TIMESTAMP_URL"} -in "$1" -out "$1.signed" >&2
    mv "$1.signed" "$1"
}

mkdir "$files/tsport"
while read -r binary; do
    folder=$files
    [[ $binary != *.exe ]] || folder=$files/tsport
    cp "$1/bin/$binary" "$1/bin/${binary%.*}.pdb" "$folder"
    sign "$folder/$binary"
done <"$here/binaries.txt"
# Texts have the line ends of Windows.
for text in README.txt print-provider.conf.sample; do
    sed "$names; s/@VERSION@/$version/g; s/\$/\r/" "$here/$text" >"$files/$text"
done

"$here/zip.py" "$files" "$commit_time" "$dist/tsprintportmon-$version-win-x64.zip"
installer=$dist/tsprintportmon-$version-x64.msi
"$here/msi.py" "$files" "$version" "$commit_time" "$installer"
sign "$installer"
[[ -n ${SIGN_PKCS12:-} ]] && echo "signed with $SIGN_PKCS12" || echo "unsigned"
