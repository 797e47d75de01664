#!/usr/bin/env bash
# Packs what an administrator gets:
#   package.sh BUILD_DIR VERSION [DIST_DIR]
# leaves DIST_DIR/tsprintportmon-VERSION-win-x64.zip (DIST_DIR: dist/ of this checkout). The same files at the same
# commit give the same bytes: names are in a fixed order and all times are the commit's.
set -euo pipefail

if [[ $# -lt 2 || $# -gt 3 ]]; then
    echo "usage: package.sh BUILD_DIR VERSION [DIST_DIR]" >&2
    exit 2
fi
here=$(cd "$(dirname "$0")" && pwd)
# Outside a checkout the time is that of the archive's sources, if anybody says so.
commit_time=$(git -C "$here" log -1 --format=%ct 2>/dev/null || echo "${SOURCE_DATE_EPOCH:-0}")
dist=${3:-$here/../dist}
mkdir -p "$dist"

python3 - "$here" "$1/bin" "$2" "$dist" "$commit_time" <<'PYTHON'
import hashlib
import os
import sys
import time
import zipfile

here, binaries, version, dist, commit_time = sys.argv[1:]


def binary(name):
    with open(os.path.join(binaries, name), "rb") as file:
        return file.read()


def text(name):
    """A text with the line ends of Windows and with the version."""
    with open(os.path.join(here, name), encoding="ascii", newline="") as file:
        return file.read().replace("@VERSION@", version).replace("\n", "\r\n").encode()


# The command line.
tsport = ["tsport.exe"]

files = {
    "README.txt": text("README.txt"),
    "print-provider.conf.sample": text("print-provider.conf.sample"),
    "tsprintportmon.dll": binary("tsprintportmon.dll"),
    "tsprintportmon.dll.debug": binary("tsprintportmon.dll.debug"),
    **{name: binary(name) for name in ("tsprintportmonui.dll", "tsprintportmonui.dll.debug")},
    **{f"tsport/{name}": binary(name) for name in tsport},
}
files["SHA256SUMS"] = "".join(
    f"{hashlib.sha256(data).hexdigest()}  {name}\n" for name, data in sorted(files.items())).encode()

# The format begins in 1980 and counts in steps of two seconds.
date = max(time.gmtime(int(commit_time))[:6], (1980, 1, 1, 0, 0, 0))
target = os.path.normpath(os.path.join(dist, f"tsprintportmon-{version}-win-x64.zip"))
with zipfile.ZipFile(target + ".part", "w") as archive:
    for name, data in sorted(files.items()):
        entry = zipfile.ZipInfo(name, date)
        entry.compress_type = zipfile.ZIP_DEFLATED
        entry.create_system = 0  # no Unix permissions, whatever system packs
        archive.writestr(entry, data, compresslevel=9)
os.replace(target + ".part", target)
print(target)
PYTHON
