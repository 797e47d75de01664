#!/usr/bin/env python3
"""Packs what an administrator gets: package.py BUILD_DIR VERSION [DIST_DIR]

Leaves in DIST_DIR (dist/ of this checkout) the installer tsprintportmon-VERSION-x64.msi, the same files and their symbols
as tsprintportmon-VERSION-win-x64.zip, and tsprintportmon-VERSION.spdx.json, which lists what is inside. The same files at
the same commit give the same bytes: names are in a fixed order and all times are the commit's.

Where SIGN_PKCS12 names a file with a certificate and its key, and SIGN_PASSWORD_FILE one with the password, the binaries
and the installer are signed; SIGN_TIMESTAMP_URL may name a server for time stamps. Signatures have a time of their own."""
import hashlib
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time
import zipfile

sys.dont_write_bytecode = True
from contents import spdx_document  # noqa: E402
from msi import BINARIES, HERE, NAMES, build_msi  # noqa: E402


def sign(path):
    if "SIGN_PKCS12" not in os.environ:
        return
    stamp = ["-ts", os.environ["SIGN_TIMESTAMP_URL"]] if "SIGN_TIMESTAMP_URL" in os.environ else []
    subprocess.run(["osslsigncode", "sign", "-pkcs12", os.environ["SIGN_PKCS12"], "-readpass",
                    os.environ["SIGN_PASSWORD_FILE"], "-h", "sha256", "-n", f"{NAMES['MONITOR_NAME']} monitor", *stamp,
                    "-in", path, "-out", f"{path}.signed"], check=True, stdout=sys.stderr)
    os.replace(f"{path}.signed", path)


def commit_time():
    """In seconds. Outside a checkout it is the time of the archive's sources, if anybody says so."""
    done = subprocess.run(["git", "-C", HERE, "log", "-1", "--format=%ct"], stdout=subprocess.PIPE,
                          stderr=subprocess.DEVNULL)
    return int(done.stdout or os.environ.get("SOURCE_DATE_EPOCH", "0"))


def page_of(document):
    """A page of docs/ for a browser."""
    body = subprocess.run(["cmark-gfm", "--extension", "table", "--unsafe", document], check=True, text=True,
                          stdout=subprocess.PIPE).stdout
    parts = {"TITLE": re.search("<h1>(.*)</h1>", body)[1], "BODY": body}
    return re.sub("@([A-Z]+)@", lambda found: parts[found[1]], (HERE / "page.html").read_text("utf-8"))


def lay_out(build, version, files):
    """The files as they lie in the zip; texts have the line ends of Windows, and for @NAME@ what the code has for it."""
    (files / "tsport").mkdir()
    binaries = []
    for binary in BINARIES:
        folder = files / "tsport" if binary.endswith(".exe") else files
        for name in binary, f"{os.path.splitext(binary)[0]}.pdb":
            shutil.copy(build / "bin" / name, folder)
        sign(folder / binary)
        binaries.append((folder / binary, folder / name))
    names = {**NAMES, "VERSION": version}
    texts = {name: re.sub("@([A-Z_]+)@", lambda found: names[found[1]], (HERE / name).read_text("utf-8"))
             for name in ("README.txt", "print-provider.conf.sample")}
    texts["tsprintportmon.spdx.json"], texts["NOTICES.txt"] = spdx_document(binaries, version, commit_time())
    for page in "LOG", "DOCTOR":
        texts[f"tsport/{page}.html"] = page_of(HERE.parent / f"docs/{page}.md")
    for name, text in texts.items():
        (files / name).write_text(text, "utf-8", newline="\r\n")


def build_zip(folder, seconds, target):
    files = {path.relative_to(folder).as_posix(): path.read_bytes() for path in folder.rglob("*") if path.is_file()}
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


def main(build, version, dist=HERE.parent / "dist"):
    dist = pathlib.Path(dist).resolve()
    dist.mkdir(parents=True, exist_ok=True)
    archive = dist / f"tsprintportmon-{version}-win-x64.zip"
    installer = dist / f"tsprintportmon-{version}-x64.msi"
    with tempfile.TemporaryDirectory() as folder:
        files = pathlib.Path(folder)
        lay_out(pathlib.Path(build), version, files)
        build_zip(files, commit_time(), archive)
        build_msi(files, version, commit_time(), installer)
        shutil.copy(files / "tsprintportmon.spdx.json", dist / f"tsprintportmon-{version}.spdx.json")
    sign(installer)
    print(archive, installer, "signed" if "SIGN_PKCS12" in os.environ else "unsigned", sep="\n")


if __name__ == "__main__":
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__)
    main(*sys.argv[1:])
