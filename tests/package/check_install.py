#!/usr/bin/env python3
"""Installs, updates and removes both packages under Wine: check_install.py BUILD_DIR VERSION"""
import functools
import glob
import itertools
import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import zipfile
from zlib import crc32

sys.dont_write_bytecode = True
from checks import report  # noqa: E402

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
MONITOR = r"HKLM\SYSTEM\CurrentControlSet\Control\Print\Monitors\Tessaron TCP/IP Port"
FULL_MONITOR = MONITOR.replace("HKLM", "HKEY_LOCAL_MACHINE")
ENVIRONMENT = r"HKLM\SYSTEM\CurrentControlSet\Control\Session Manager\Environment"
SPOOLER = r"HKLM\SYSTEM\CurrentControlSet\Services\Spooler"
SYSTEM = "windows/system32"
PROGRAMS = "Program Files/Tessaron Port Monitor"
# Where the files of the zip are then.
FILES = {"tsprintportmon.dll": SYSTEM, "tsprintportmonui.dll": SYSTEM, "tsport/tsport.exe": PROGRAMS,
         "README.txt": PROGRAMS, "print-provider.conf.sample": PROGRAMS}
OLD = "0.9.0"
DRIVER = "Driver REG_SZ tsprintportmon.dll"
PORTS = r"\Ports \Ports\Office HostName REG_SZ 192.168.1.20"


class Machine:
    """A Wine prefix, and what an administrator sees of the monitor in it."""

    def __init__(self, prefix):
        self.wine = [os.path.join(ROOT, "cmake/wine.sh"), prefix]
        self.drive = os.path.join(prefix, "drive_c")
        # As long as a program runs, so do the services.
        self.running = subprocess.Popen([*self.wine, "cmd"], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL)

    def run(self, *command, folder=None):
        """The exit status, of which the system keeps eight bits, and the output."""
        done = subprocess.run([*self.wine, *command], cwd=folder or ROOT, timeout=60, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE)
        return done.returncode, done.stdout.decode(errors="replace").replace("\r\n", "\n")

    def ask(self, pattern, *command):
        """The first group of a pattern in the output, which Wine now and then leaves empty while services start or end."""
        for _ in range(5):
            found = re.search(pattern, self.run(*command)[1])
            if found:
                return found.group(1)
        raise ValueError(f"{command} says nothing")

    def set_start(self, start):
        self.run("reg", "add", SPOOLER, "/v", "Start", "/t", "REG_DWORD", "/d", str(start), "/f")

    def state(self):
        """The files with sums of their bytes, the monitor's key, the path and the spooler."""
        files = {}
        for place in (*glob.glob(f"{self.drive}/{SYSTEM}/tsprintportmon*"),
                      *glob.glob(f"{self.drive}/{PROGRAMS}/**", recursive=True)):
            if os.path.isfile(place) and os.path.basename(place) not in ("uninstall.cmd", "version.txt"):
                with open(place, "rb") as file:
                    files[os.path.relpath(place, self.drive)] = crc32(file.read())
        status, key = self.run("reg", "query", MONITOR, "/s")
        path = self.ask(r"REG_\w+ +(.*)", "reg", "query", ENVIRONMENT, "/v", "PATH")
        path = path.lower().replace("%systemroot%", r"c:\windows")
        return {"files": {name: sums for name, sums in files.items() if "former" not in name},
                "key": " ".join(key.replace(FULL_MONITOR, "").split()) if status == 0 else "",
                "former": {name: sums for name, sums in files.items() if "former" in name},
                "path": [entry.rstrip("\\") for entry in path.split(";") if entry],
                "spooler": self.ask("STATE .* ([A-Z]+)", "sc", "query", "Spooler")}


class Msi:
    def __init__(self, machine, packages):
        self.machine = machine
        self.packages = packages

    def msiexec(self, what, version, *options):
        package = f"tsprintportmon-{version}-x64.msi"
        status, _ = self.machine.run("msiexec", what, package, "/qn", "/l*", "install.log", *options, folder=self.packages)
        with open(os.path.join(self.packages, "install.log"), encoding="latin-1") as log:
            words = log.read()
        if "LaunchConditions. Return value 0" in words:  # Wine does not say what the condition says
            words += subprocess.run(["msiinfo", "export", os.path.join(self.packages, package), "LaunchCondition"],
                                    stdout=subprocess.PIPE, check=True, text=True).stdout
        return status, words

    def install(self, version):
        return self.msiexec("/i", version)

    def remove(self, version, *options):
        return self.msiexec("/x", version, *options)


class Cmd:
    """The scripts of the zip. They also leave themselves behind, and what they have replaced."""

    def __init__(self, machine, packages):
        self.machine = machine
        self.packages = packages

    def script(self, name, version, *arguments):
        folder = os.path.join(self.packages, version)
        with zipfile.ZipFile(os.path.join(self.packages, f"tsprintportmon-{version}-win-x64.zip")) as archive:
            archive.extractall(folder)
        return self.machine.run("cmd", "/c", name, *arguments, folder=folder)

    def install(self, version):
        return self.script("install.cmd", version)

    def remove(self, version, *options):
        return self.script("uninstall.cmd", version, *options)

    def refused(self, version, words, variable="unused=1"):
        """Both scripts, with a variable of the environment. What is left of the words when both have said them and failed."""
        for script in "install.cmd", "uninstall.cmd":
            status, said = self.script(f"set {variable}&& {script}", version)
            if status == 0 or words not in said:
                return 0, f"{script} ends with {status}: {said}"
        return status, words


def steps(machine, way, new):
    """What is done, what comes of it ("done", or words that tell why not), and what is there then: the version of the files,
    the key, and the spooler."""
    in_the_way = os.path.join(machine.drive, SYSTEM, "tsprintportmonui.dll", "folder")

    def broken_off():
        os.makedirs(in_the_way)
        result = way.install(new)
        shutil.rmtree(os.path.dirname(in_the_way))
        return result

    def broken_off_in_the_middle():
        """The library cannot be moved away, when the others are replaced."""
        os.makedirs(f"{machine.drive}/{SYSTEM}/tsprintportmon.dll.old/tsprintportmon.dll/folder")
        result = way.install(new)
        shutil.rmtree(f"{machine.drive}/{SYSTEM}/tsprintportmon.dll.old")
        return result

    yield "broken off", broken_off, "tsprintportmonui.dll", None, "", "RUNNING"
    yield "installed", lambda: way.install(OLD), "done", OLD, DRIVER, "RUNNING"
    machine.run("reg", "add", MONITOR + r"\Ports\Office", "/v", "HostName", "/d", "192.168.1.20", "/f")
    if isinstance(way, Cmd):  # Wine's Windows Installer does not bring back what was there
        yield "in use", broken_off_in_the_middle, "in use", OLD, f"{DRIVER} {PORTS}", "RUNNING"
    yield "updated", lambda: way.install(new), "done", new, f"{DRIVER} {PORTS}", "RUNNING"
    yield "installed again", lambda: way.install(new), "done", new, f"{DRIVER} {PORTS}", "RUNNING"
    if isinstance(way, Msi):
        yield "scripts beside the MSI", lambda: Cmd(machine, way.packages).refused(
            new, "MSI package"), "MSI package", new, f"{DRIVER} {PORTS}", "RUNNING"
    else:
        for words, variable in (("64-bit command prompt", "PROCESSOR_ARCHITECTURE=x86"),
                                ("runs as administrator", r"SystemRoot=C:\nowhere")):
            yield variable, functools.partial(way.refused, new, words, variable), words, new, f"{DRIVER} {PORTS}", "RUNNING"
    yield "older version", lambda: way.install(OLD), "A newer version", new, f"{DRIVER} {PORTS}", "RUNNING"
    yield "removed", lambda: way.remove(new), "done", None, PORTS, "RUNNING"
    yield "broken off where ports are", broken_off, "tsprintportmonui.dll", None, PORTS, "RUNNING"
    yield "installed where ports are", lambda: way.install(new), "done", new, f"{DRIVER} {PORTS}", "RUNNING"
    yield "removed with ports", lambda: way.remove(new, "REMOVEPORTS=1"), "done", None, "", "RUNNING"
    machine.set_start(4)
    for _ in range(20):  # a spooler that is still starting does not stop
        machine.run("net", "stop", "spooler")
        if machine.state()["spooler"] == "STOPPED":
            break
    yield "installed, spooler disabled", lambda: way.install(new), "done", new, DRIVER, "STOPPED"
    yield "removed, spooler disabled", lambda: way.remove(new), "done", None, "", "STOPPED"
    machine.set_start(3)


def installed(packages, version):
    """The files of a version, with sums of their bytes."""
    with zipfile.ZipFile(os.path.join(packages, f"tsprintportmon-{version}-win-x64.zip")) as archive:
        return {f"{place}/{os.path.basename(name)}": crc32(archive.read(name)) for name, place in FILES.items()}


def checks(machine, way, new):
    machine.run("net", "start", "spooler")
    path = machine.state()["path"]
    former = {}
    for name, action, outcome, version, key, spooler in steps(machine, way, new):
        name = f"{type(way).__name__}, {name}"
        status, words = action()
        if outcome == "done":
            yield f"{name}: done", "", words if status else ""
        else:
            yield f"{name}: status", False, status == 0
            yield f"{name}: words", outcome, outcome if outcome in words else words
        if isinstance(way, Cmd) and name.endswith(("in use", "updated")):
            # What is replaced is kept, once; also where the replacement was taken back.
            number = 1 if name.endswith("in use") else 2
            former.update({f"{PROGRAMS}/former/{number}/{file}": sums for file, sums in (
                (os.path.basename(path), sums) for path, sums in installed(way.packages, OLD).items()) if file.endswith("dll")})
        expected = {"files": installed(way.packages, version) if version else {}, "key": key, "spooler": spooler, "former": former,
                    "path": path + ([f"c:\\{PROGRAMS}".replace("/", "\\").lower()] if version else [])}
        yield name, expected, machine.state()


def build_older(build, folder):
    """Binaries of an older version: with that number in their resource, and other bytes."""
    os.mkdir(os.path.join(folder, "bin"))
    with open(os.path.join(ROOT, "packaging/binaries.txt"), encoding="ascii") as binaries:
        names = binaries.read().split()
    for name in os.listdir(os.path.join(build, "bin")):
        if any(name.startswith(os.path.splitext(binary)[0] + ".") for binary in names):
            with open(os.path.join(build, "bin", name), "rb") as file:
                data = bytearray(file.read())
            resource = data.find(struct.pack("<2I", 0xFEEF04BD, 0x10000))
            if resource >= 0:
                struct.pack_into("<4I", data, resource + 8, 9, 0, 9, 0)
            with open(os.path.join(folder, "bin", name), "wb") as file:
                file.write(data + OLD.encode())


def main():
    build, new = sys.argv[1:]
    prefix = os.path.join(os.path.abspath(build), "wine-install")
    # As in cmake/wine.sh.
    environment = {name: value for name, value in os.environ.items() if name != "TMPDIR"} | {"WINEPREFIX": prefix}
    end_wine = functools.partial(subprocess.run, ["wineserver", "--kill"], env=environment, check=False)
    if os.path.exists(prefix):
        end_wine()  # what an interrupted run has left
        shutil.rmtree(prefix)
    machine = Machine(prefix)
    with tempfile.TemporaryDirectory() as folder:
        build_older(build, folder)
        for source, version in (folder, OLD), (build, new):
            subprocess.run([os.path.join(ROOT, "packaging/package.sh"), source, version, folder], check=True,
                           stdout=subprocess.DEVNULL)
        ways = Msi(machine, folder), Cmd(machine, folder)
        status = report(itertools.chain.from_iterable(checks(machine, way, new) for way in ways))
    end_wine()
    return status


if __name__ == "__main__":
    sys.exit(main())
