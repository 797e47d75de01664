#!/usr/bin/env python3
"""Installs, updates and removes the installer's package under Wine, and compares all files and all of HKEY_LOCAL_MACHINE
after each step: check_install.py BUILD_DIR VERSION"""
import functools
import os
import pathlib
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import time
import zipfile
from zlib import crc32

sys.dont_write_bytecode = True
from checks import ROOT, report  # noqa: E402

MONITOR = r"HKEY_LOCAL_MACHINE\System\CurrentControlSet\Control\Print\Monitors\Tessaron TCP/IP Port"
ENVIRONMENT = r"HKEY_LOCAL_MACHINE\System\CurrentControlSet\Control\Session Manager\Environment"
SPOOLER = r"HKEY_LOCAL_MACHINE\System\CurrentControlSet\Services\Spooler"
# What Wine writes by itself at any time, what CurrentControlSet is a link to, and keys that Wine's installer leaves empty.
NOISE = re.compile(r"\\(DEVICEMAP|DeviceClasses|Class|Enum|Video|Hardware Profiles|ServiceCurrent|ControlSet\d+)(\\|\|)"
                   r"|\\Installer[^|]*\|$")
# The installer's own records of what is installed.
RECORDS = re.compile(r"\\CurrentVersion\\(Installer|Uninstall\\\{)|\\Classes\\Installer\\")
SYSTEM = "windows/system32"
PROGRAMS = "Program Files/Tessaron Port Monitor"
# Where the files of the zip are then.
FILES = {"tsprintportmon.dll": SYSTEM, "tsprintportmonui.dll": SYSTEM} | dict.fromkeys((
    "tsport/tsport.exe", "tsport/LOG.html", "tsport/DOCTOR.html", "README.txt", "print-provider.conf.sample", "NOTICES.txt",
    "tsprintportmon.spdx.json"), PROGRAMS)
# What the scripts of earlier packages left there. The last one, a library that was replaced, stays until the removal.
LEFT_BY_SCRIPTS = [f"{PROGRAMS}/{name}" for name in ("uninstall.cmd", "version.txt", "former/1/tsprintportmon.dll")]
OLD = "0.9.0"
PATH = r"%SystemRoot%\system32;%SystemRoot%;C:\Данные\bin;C:\Datā;%ProgramData%\x y;C:\100% ok;%NoSuch%"
PORTS = {MONITOR + r"\Ports\Office|HostName": '"192.168.1.20"', MONITOR + r"\Ports\Office|": "", MONITOR + r"\Ports|": "",
         MONITOR + "|": ""}
RESTART_NEEDED = 3010 & 255  # of an exit status the system keeps eight bits


class Machine:
    """A Wine prefix, what an administrator sees of it, and a folder with packages."""

    def __init__(self, prefix, packages, programs):
        self.packages = packages
        self.programs = pathlib.Path(programs)  # of the build
        self.wine = [ROOT / "cmake/wine.sh", prefix]
        self.drive = pathlib.Path(prefix, "drive_c")
        # As in cmake/wine.sh.
        environment = {name: value for name, value in os.environ.items() if name != "TMPDIR"} | {"WINEPREFIX": prefix}
        self.end = functools.partial(subprocess.run, ["wineserver", "--kill"], env=environment, check=False)
        if os.path.exists(prefix):
            self.end()  # what an interrupted run has left
            shutil.rmtree(prefix)
        self.start()
        self.set_value(r"HKCU\Software\Wine\Drivers", "Graphics", "REG_SZ", "null")  # windows that nobody sees

    def start(self):
        # As long as a program runs, so do the services.
        self.running = subprocess.Popen([*self.wine, "cmd"], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL)
        self.run("net", "start", "spooler")

    def run(self, *command):
        """The exit status and the output."""
        done = subprocess.run([*self.wine, *command], timeout=120, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        return done.returncode, done.stdout.decode(errors="replace")

    def set_value(self, key, name, kind, data):
        self.run("reg", "add", key, "/v", name, "/t", kind, "/d", data, "/f")

    def spooler(self):
        """Now and then Wine says nothing of a service that starts or ends."""
        states = (re.search("STATE .* ([A-Z]+)", self.run("sc", "query", "Spooler")[1]) for _ in range(5))
        return next(filter(None, states))[1]

    def state(self):
        """Every file with the sum of its bytes, every key and value, and the spooler."""
        found = {"spooler": self.spooler(), "installed": set()}
        for file in self.drive.rglob("*"):
            if file.is_file() and not file.is_symlink():
                name = re.sub(r"(Installer/)\w+(\.msi)", r"\1*\2", str(file.relative_to(self.drive)))
                found[name] = "any" if "*" in name else crc32(file.read_bytes())
        self.run("reg", "export", "HKLM", r"C:\all.reg", "/y")
        text = (self.drive / "all.reg").read_text("utf-16").replace("\\\n  ", "")
        (self.drive / "all.reg").unlink()
        for line in text.splitlines():
            if line.startswith("["):
                key, name, value = line[1:-1], "", ""
            elif named := re.match(r'(?:"((?:[^"\\]|\\.)*)"|@)=(.*)', line):
                name, value = named[1] or "@", named[2]
            else:
                continue
            entry = f"{key}|{name}"
            if RECORDS.search(entry):
                if name == "DisplayVersion":
                    found["installed"].add(value.strip('"'))
                elif value:
                    found["records"] = "there"
            elif not NOISE.search(entry):
                found[entry] = value
        kind, data = found.pop(f"{ENVIRONMENT}|PATH").split(":")
        # Wine's installer leaves the separator when it removes an entry.
        path = bytes.fromhex(data.replace(",", "")).decode("utf-16-le").rstrip("\0")
        return found | {"PATH": (kind, re.sub(";+", ";", path).rstrip(";"))}

    def open_dialog(self):
        """A program with the dialog that adds a port, open."""
        dialog = subprocess.Popen([*self.wine, self.programs / "open_dialog.exe"], stdout=subprocess.PIPE, text=True)
        if dialog.stdout.readline().strip() != "open":
            raise RuntimeError("the dialog does not open")
        return dialog

    def msiexec(self, what, version, *options, windows="/qn"):
        """The exit status and the log."""
        package = f"{self.packages}/tsprintportmon-{version}-x64.msi"
        status, _ = self.run("msiexec", what, f"Z:{package}", windows, "/l*", r"C:\install.log", *options)
        log = self.drive / "install.log"
        words = log.read_text("latin-1")
        log.unlink()
        for action, table in ("LaunchConditions", "LaunchCondition"), ("FindQueues", "Error"):
            if f"{action}. Return value 0" in words:  # Wine does not say what the package says
                words += subprocess.run(["msiinfo", "export", package, table], stdout=subprocess.PIPE, check=True,
                                        text=True).stdout
        return status, words

    def files(self, version):
        """The files of a version, with sums of their bytes."""
        with zipfile.ZipFile(f"{self.packages}/tsprintportmon-{version}-win-x64.zip") as archive:
            return {f"{place}/{os.path.basename(name)}": crc32(archive.read(name)) for name, place in FILES.items()}


def steps(machine, new):
    """What is done, what comes of it (an exit status, or words that tell why not), and what is there then beside what was
    there at the beginning: the files of a version, and further files, keys and values."""
    in_the_way = machine.drive / SYSTEM / "tsprintportmonui.dll/folder"

    def broken_off():
        in_the_way.mkdir(parents=True)
        result = machine.msiexec("/i", new)
        shutil.rmtree(in_the_way.parent)
        return result

    def install_in_use():
        # A dialog is open; tsport.exe has loaded the library, and waits for its input.
        dialog = machine.open_dialog()
        library = machine.drive / SYSTEM / "tsprintportmon.dll"
        user = subprocess.Popen(
            [*machine.wine, machine.drive / PROGRAMS / "tsport.exe", f"--store=Z:{machine.packages}/ports",
             r"--library=C:\windows\system32\tsprintportmon.dll", "import", "-"], stdin=subprocess.PIPE)
        while user.poll() is None and f"-> {library}\n" not in subprocess.run(
                "ls -l /proc/[0-9]*/fd 2>/dev/null", shell=True, check=False, text=True, stdout=subprocess.PIPE).stdout:
            time.sleep(0.05)
        result = machine.msiexec("/i", new)
        if dialog.poll() is not None:
            result = "the dialog is gone", ""
        machine.end()
        machine.start()
        user.communicate()
        return result

    def install_over_scripts():
        for place in (machine.drive / name for name in LEFT_BY_SCRIPTS):
            place.parent.mkdir(parents=True, exist_ok=True)
            place.write_bytes(b"left")
        return machine.msiexec("/i", new)

    def repair():
        # What /fa sets, and what else puts files in place; any user may ask for either.
        status, words = machine.msiexec("/i", new, "REINSTALL=ALL", "REINSTALLMODE=a")
        more = machine.msiexec("/i", new, "ADDLOCAL=ALL")[1]
        services = re.findall(r"Action start.*(?:Stop|Start)Services", words + more)
        return status, str(services) if services else words

    def install(version):
        return lambda: machine.msiexec("/i", version)

    def remove(*options, **windows):
        return machine.msiexec("/x", new, *options, **windows)

    def remove_where_queues_print(*options):
        # Wine's spooler does not load the monitor: what tsport answers where queues print comes from a program that
        # knows none of its words.
        tsport = machine.drive / PROGRAMS / "tsport.exe"
        contents = tsport.read_bytes()
        shutil.copy(machine.programs / "fakeprinter.exe", tsport)
        result = remove(*options, windows="/qb")
        if tsport.exists():
            tsport.write_bytes(contents)
        return result

    yield "broken off", broken_off, "tsprintportmonui.dll", None, {}
    yield "installed", install(OLD), 0, OLD, {}
    machine.set_value(MONITOR + r"\Ports\Office", "HostName", "REG_SZ", "192.168.1.20")
    yield "updated", install(new), 0, new, PORTS
    yield "installed again", install(new), 0, new, PORTS
    yield "older version", install(OLD), "A newer version", new, PORTS
    yield "repaired", repair, "not repaired", new, PORTS
    yield "removed", remove, 0, None, PORTS
    yield "broken off where ports are", broken_off, "tsprintportmonui.dll", None, PORTS
    yield "older version, newer removed", install(OLD), 0, OLD, PORTS
    yield "updated in use, then restarted", install_in_use, RESTART_NEEDED, new, PORTS
    yield "removed where queues print", remove_where_queues_print, "tsport migrate --to-standard", new, PORTS
    yield "removed all the same", lambda: remove_where_queues_print("QUEUES=stay"), 0, None, PORTS
    yield "installed over scripts", install_over_scripts, 0, new, {**PORTS, LEFT_BY_SCRIPTS[-1]: crc32(b"left")}
    yield "removed with ports", lambda: remove("REMOVEPORTS=1", windows="/qb"), 0, None, {}
    machine.set_value(SPOOLER, "Start", "REG_DWORD", "4")
    while machine.spooler() != "STOPPED":  # one that is still starting does not stop
        machine.run("net", "stop", "spooler")
    disabled = {f"{SPOOLER}|Start": "dword:00000004", "spooler": "STOPPED"}
    yield "installed, spooler disabled", install(new), 0, new, disabled
    yield "removed, spooler disabled", remove, 0, None, disabled


def checks(machine, new):
    machine.set_value(ENVIRONMENT, "PATH", "REG_EXPAND_SZ", PATH)
    start = machine.state()
    yield "the path at the start", ("hex(2)", PATH), start["PATH"]
    for name, action, outcome, version, more in steps(machine, new):
        status, words = action()
        yield f"{name}: outcome", outcome, status if isinstance(outcome, int) else outcome if outcome in words else words
        expected = start | more
        if version:
            folder = "C:\\" + PROGRAMS.replace("/", "\\")
            expected |= machine.files(version) | {
                "windows/Installer/*.msi": "any", "installed": {version}, "records": "there",
                "PATH": ("hex(2)", f"{PATH};{folder}\\"), f"{MONITOR}|": "", f"{MONITOR}|Driver": '"tsprintportmon.dll"'}
        found = machine.state()
        yield name, {}, {entry: (expected.get(entry), found.get(entry)) for entry in expected.keys() | found.keys()
                         if expected.get(entry) != found.get(entry)}


def build_older(build, folder):
    """Binaries of an older version: with that number in their resource, and other bytes."""
    pathlib.Path(folder, "bin").mkdir()
    for binary in (ROOT / "packaging/binaries.txt").read_text("ascii").split():
        for name in binary, f"{os.path.splitext(binary)[0]}.pdb":
            data = bytearray(pathlib.Path(build, "bin", name).read_bytes())
            if name == binary:
                struct.pack_into("<4I", data, data.find(struct.pack("<2I", 0xFEEF04BD, 0x10000)) + 8, 9, 0, 9, 0)
                data += OLD.encode()
            pathlib.Path(folder, "bin", name).write_bytes(data)


def main(build, new):
    with tempfile.TemporaryDirectory() as folder:
        build_older(build, folder)
        for source, version in (folder, OLD), (build, new):
            subprocess.run([ROOT / "packaging/package.py", source, version, folder], check=True, stdout=subprocess.DEVNULL)
        machine = Machine(os.path.join(os.path.abspath(build), "wine-install"), folder,
                          os.path.join(os.path.abspath(build), "bin"))
        status = report(checks(machine, new))
    machine.end()
    return status


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
