#!/usr/bin/env python3
"""Packs a folder, with the sums of its files: zip.py FILES_DIR TIME TARGET. The same files and time (of the commit, in
seconds) give the same bytes."""
import hashlib
import os
import sys
import time
import zipfile


def build(folder, seconds, target):
    files = {}
    for place, _, names in os.walk(folder):
        for name in names:
            path = os.path.join(place, name)
            with open(path, "rb") as file:
                files[os.path.relpath(path, folder)] = file.read()
    files["SHA256SUMS"] = "".join(
        f"{hashlib.sha256(data).hexdigest()}  {name}\n" for name, data in sorted(files.items())).encode()
    # The format begins in 1980 and counts in steps of two seconds.
    date = max(time.gmtime(seconds)[:6], (1980, 1, 1, 0, 0, 0))
    with zipfile.ZipFile(f"{target}.part", "w") as archive:
        for name, data in sorted(files.items()):
            entry = zipfile.ZipInfo(name, date)
            entry.compress_type = zipfile.ZIP_DEFLATED
            entry.create_system = 0  # no Unix permissions, whatever system packs
            archive.writestr(entry, data, compresslevel=9)
    os.replace(f"{target}.part", target)
    print(target)


if __name__ == "__main__":
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    build(sys.argv[1], int(sys.argv[2]), sys.argv[3])
