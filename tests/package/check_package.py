#!/usr/bin/env python3
"""Looks at the packages that packaging/package.py makes, and at those that it signs with a certificate made here:
check_package.py BUILD_DIR VERSION"""
import hashlib
import io
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time
import zipfile

sys.dont_write_bytecode = True
from checks import ROOT, report  # noqa: E402

FILES = ["NOTICES.txt", "README.txt", "SHA256SUMS", "print-provider.conf.sample", "tsport/DOCTOR.html", "tsport/LOG.html",
         "tsport/tsport.exe", "tsport/tsport.pdb", "tsprintportmon.dll", "tsprintportmon.pdb", "tsprintportmon.spdx.json",
         "tsprintportmonui.dll", "tsprintportmonui.pdb"]
LIBRARIES = {"libgcc", "mingw-w64 runtime"}
LINKED = {"tsprintportmon.dll": LIBRARIES, "tsprintportmonui.dll": LIBRARIES,
          "tsport.exe": LIBRARIES | {"libstdc++", "winpthreads", "RapidJSON"}}
# Sources that fill the settings; all others read them.
SETTING_SOURCES = {"config.cpp", "config_handlers.cpp", "config_table.cpp", "global.cpp"}
# The defaults of settings with a handler, as words of the file.
HANDLER_DEFAULTS = {"Debug": "off", "ErrorPollMethod": "os"}


def sample_checks(sample):
    """Against the table of settings, and against the fields of it that the monitor's sources read."""
    entries = dict(re.findall(r"(?m)^#([A-Z]\w+)=(.*?)\r?$", sample))
    defaults, fields = {}, {}
    for kind, name, field, default in re.findall(r'(STRING|INT|BOOL|HANDLER)_VAR\("([^"]+)", (\w+), ([^)]*)\)',
                                                 (ROOT / "common/config_table.cpp").read_text("utf-8")):
        fields[name] = field
        words = {"BOOL": "on" if default == "1" else "off", "HANDLER": HANDLER_DEFAULTS.get(name)}
        defaults[name] = words.get(kind, default.strip('"'))
    sources = [file for folder in ("common", "winportmon/tsmon") for file in (ROOT / folder).glob("*.cpp")]
    read = {field for file in sources if file.name not in SETTING_SOURCES
            for field in re.findall(r"session_context\.(\w+)", file.read_text("utf-8"))}
    yield "defaults of the sample", {name: defaults.get(name, "none") for name in entries}, entries
    yield "settings that the monitor reads and the sample lacks", [], [
        name for name, field in fields.items() if field in read and name not in entries]
    yield "lines of the sample that would change something", [], re.findall(r"(?m)^[^#\r\n].*", sample)


def tsport_checks(build, archive):
    """The command line, unpacked, over a file of ports; in a prefix of its own, where no Print Provider is installed."""
    with tempfile.TemporaryDirectory() as folder:
        archive.extractall(folder)

        def tsport(*arguments):
            done = subprocess.run(
                [ROOT / "cmake/wine.sh", os.path.abspath(f"{build}/wine-package"), f"{folder}/tsport/tsport.exe", *arguments],
                cwd=folder, stdin=subprocess.DEVNULL, capture_output=True)
            return done.returncode, done.stdout.decode().replace("\r\n", "\n")

        store = "--store", "ports.txt"
        yield "tsport add", (0, 'added "Büro": 192.168.1.20 port 9100\n'), tsport(*store, "add", "Büro", "192.168.1.20")
        yield "tsport list", (0, "NAME  ADDRESS       PORT\nBüro  192.168.1.20  9100\n"), tsport(*store, "list")
        yield "tsport show", (1, ""), tsport(*store, "show", "nobody")
        pathlib.Path(folder, "print-monitor.log").write_text("2026-03-01 09:05:07,042 ERROR: nobody knows this\n", "ascii")
        for page, command in {"LOG": ["report", "print-monitor.log"], "DOCTOR": ["doctor", "--base", "."]}.items():
            path = "Z:" + f"{folder}/tsport/{page}.html".replace("/", "\\")
            for arguments in command, [command[0], "--help"]:
                yield f"page that tsport {' '.join(arguments)} names", 1, tsport(*arguments)[1].count(path)


def spdx_checks(contents, beside_the_installer):
    yield "the list of contents beside the installer", True, beside_the_installer == contents["tsprintportmon.spdx.json"]
    document = json.loads(beside_the_installer)
    names = {entry["SPDXID"]: entry.get("name") or entry["fileName"][2:]
             for entry in document["packages"] + document["files"]}
    linked = {}
    for relation in document["relationships"]:
        if relation["relationshipType"] == "STATIC_LINK":
            linked.setdefault(names[relation["spdxElementId"]], set()).add(names[relation["relatedSpdxElement"]])
    yield "libraries inside", LINKED, linked
    for entry in document["files"]:
        sums = {hashlib.sha256(data).hexdigest() for name, data in contents.items() if name.endswith(entry["fileName"][2:])}
        yield f"sum of {entry['fileName']} in the list", sums, {entry["checksums"][1]["checksumValue"]}
    yield "libraries without a version, a licence or a notice", [], [
        entry["name"] for entry in document["packages"][1:]
        if not entry["versionInfo"] or entry["licenseConcluded"] == "NOASSERTION" or f"{entry['name']} {entry['versionInfo']}".encode() not in contents["NOTICES.txt"]]


def read_package(build, version, folder, **environment):
    """The bytes of the zip and of the installer, made in a folder, and the words about signatures."""
    plain = {name: value for name, value in os.environ.items() if not name.startswith("SIGN_")}
    words = subprocess.run([ROOT / "packaging/package.py", build, version, folder], check=True, text=True,
                           stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, env=plain | environment).stdout
    return {kind: pathlib.Path(folder, f"tsprintportmon-{version}-{kind}").read_bytes()
            for kind in ("win-x64.zip", "x64.msi")}, words


def signature_checks(build, version, folder):
    def run(*command):
        return subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, cwd=folder).returncode

    signing = {"SIGN_PKCS12": f"{folder}/certificate.p12", "SIGN_PASSWORD_FILE": f"{folder}/password"}
    run("openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=packages of the test", "-addext",
        "extendedKeyUsage=codeSigning", "-keyout", "key.pem", "-out", "certificate.pem")
    run("openssl", "pkcs12", "-export", "-in", "certificate.pem", "-inkey", "key.pem", "-passout", "pass:secret",
        "-out", "certificate.p12")
    pathlib.Path(folder, "password").write_text("secret", "ascii")
    read_package(build, version, f"{folder}/signed", **signing)
    for kind in "plain", "signed":
        with zipfile.ZipFile(f"{folder}/{kind}/tsprintportmon-{version}-win-x64.zip") as archive:
            archive.extractall(f"{folder}/{kind}")
    yield "sums of the signed files", 0, run("sh", "-c", "cd signed && sha256sum --check SHA256SUMS")
    for name in "tsprintportmon.dll", "tsprintportmonui.dll", "tsport/tsport.exe", f"tsprintportmon-{version}-x64.msi":
        yield f"signature of {name}, and without a certificate", [True, False], [
            run("osslsigncode", "verify", "-CAfile", "certificate.pem", "-in", f"{kind}/{name}") == 0
            for kind in ("signed", "plain")]
    pathlib.Path(folder, "password").write_text("wrong", "ascii")
    try:
        yield "a wrong password", None, read_package(build, version, f"{folder}/wrong", **signing)
    except subprocess.CalledProcessError:
        pass


def checks(build, version, folder):
    packages, words = read_package(build, version, f"{folder}/plain", TZ="UTC")
    yield "words without a certificate", "unsigned", words.splitlines()[-1]
    time.sleep(2.1)  # a time that is not fixed shows in steps of two seconds
    again, _ = read_package(build, version, f"{folder}/again", TZ="Pacific/Auckland")
    yield "packages made twice that differ", [], [kind for kind in packages if packages[kind] != again[kind]]

    with zipfile.ZipFile(io.BytesIO(packages["win-x64.zip"])) as archive:
        yield "files", FILES, archive.namelist()
        yield from tsport_checks(build, archive)
        contents = {entry: archive.read(entry) for entry in archive.namelist()}
        yield "times in the package", 1, len({entry.date_time for entry in archive.infolist()})
    sums = {line.split("  ")[1]: line.split("  ")[0] for line in contents["SHA256SUMS"].decode().splitlines()}
    yield "sums", {entry: hashlib.sha256(data).hexdigest() for entry, data in contents.items()
                   if entry != "SHA256SUMS"}, sums
    yield "the library is that of the build", True, (
        pathlib.Path(build, "bin/tsprintportmon.dll").read_bytes() == contents["tsprintportmon.dll"])
    readme = contents["README.txt"].decode()
    yield "version in README.txt", True, version in readme and "@" not in readme
    yield "line ends", [], [entry for entry, data in contents.items() if entry.endswith((".txt", ".html", ".sample"))
                            and data.count(b"\n") != data.count(b"\r\n")]
    yield from spdx_checks(contents, pathlib.Path(folder, "plain", f"tsprintportmon-{version}.spdx.json").read_bytes())
    yield from sample_checks(contents["print-provider.conf.sample"].decode())
    yield from signature_checks(build, version, folder)


if __name__ == "__main__":
    with tempfile.TemporaryDirectory() as temporary:
        sys.exit(report(checks(*sys.argv[1:], temporary)))
