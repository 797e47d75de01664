#!/usr/bin/env python3
"""Installs, updates and removes the installer's package under Wine: check_install.py BUILD_DIR VERSION"""
import functools
import glob
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
from checks import ROOT, report  # noqa: E402

MONITOR = r"HKLM\SYSTEM\CurrentControlSet\Control\Print\Monitors\Tessaron TCP/IP Port"
FULL_MONITOR = MONITOR.replace("HKLM", "HKEY_LOCAL_MACHINE")
ENVIRONMENT = r"HKLM\SYSTEM\CurrentControlSet\Control\Session Manager\Environment"
SPOOLER = r"HKLM\SYSTEM\CurrentControlSet\Services\Spooler"
SYSTEM = "windows/system32"
PROGRAMS = "Program Files/Tessaron Port Monitor"
# Where the files of the zip are then.
FILES = {"tsprintportmon.dll": SYSTEM, "tsprintportmonui.dll": SYSTEM, "tsport/tsport.exe": PROGRAMS,
         "README.txt": PROGRAMS, "print-provider.conf.sample": PROGRAMS}
# What the scripts of earlier packages left there. The last one, a library that was replaced, stays until the removal.
LEFT_BY_SCRIPTS = [f"{PROGRAMS}/{name}" for name in ("uninstall.cmd", "version.txt", "former/1/tsprintportmon.dll")]
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
            if os.path.isfile(place):
                with open(place, "rb") as file:
                    files[os.path.relpath(place, self.drive)] = crc32(file.read())
        status, key = self.run("reg", "query", MONITOR, "/s")
        path = self.ask(r"REG_\w+ +(.*)", "reg", "query", ENVIRONMENT, "/v", "PATH")
        path = path.lower().replace("%systemroot%", r"c:\windows")
        return {"files": files, "key": " ".join(key.replace(FULL_MONITOR, "").split()) if status == 0 else "",
                "path": [entry.rstrip("\\") for entry in path.split(";") if entry],
                "spooler": self.ask("STATE .* ([A-Z]+)", "sc", "query", "Spooler")}


class Installer:
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


def steps(machine, installer, new):
    """What is done, what comes of it ("done", or words that tell why not), and what is there then: the version of the files,
    the key, and the spooler."""
    in_the_way = os.path.join(machine.drive, SYSTEM, "tsprintportmonui.dll", "folder")

    def broken_off():
        os.makedirs(in_the_way)
        result = installer.install(new)
        shutil.rmtree(os.path.dirname(in_the_way))
        return result

    def install_over_scripts():
        for place in (os.path.join(machine.drive, name) for name in LEFT_BY_SCRIPTS):
            os.makedirs(os.path.dirname(place), exist_ok=True)
            with open(place, "wb") as file:
                file.write(b"left")
        return installer.install(new)

    yield "broken off", broken_off, "tsprintportmonui.dll", None, "", "RUNNING"
    yield "installed", lambda: installer.install(OLD), "done", OLD, DRIVER, "RUNNING"
    machine.run("reg", "add", MONITOR + r"\Ports\Office", "/v", "HostName", "/d", "192.168.1.20", "/f")
    yield "updated", lambda: installer.install(new), "done", new, f"{DRIVER} {PORTS}", "RUNNING"
    yield "installed again", lambda: installer.install(new), "done", new, f"{DRIVER} {PORTS}", "RUNNING"
    yield "older version", lambda: installer.install(OLD), "A newer version", new, f"{DRIVER} {PORTS}", "RUNNING"
    yield "removed", lambda: installer.remove(new), "done", None, PORTS, "RUNNING"
    yield "broken off where ports are", broken_off, "tsprintportmonui.dll", None, PORTS, "RUNNING"
    yield "installed over scripts", install_over_scripts, "done", new, f"{DRIVER} {PORTS}", "RUNNING"
    yield "removed with ports", lambda: installer.remove(new, "REMOVEPORTS=1"), "done", None, "", "RUNNING"
    machine.set_start(4)
    for _ in range(20):  # a spooler that is still starting does not stop
        machine.run("net", "stop", "spooler")
        if machine.state()["spooler"] == "STOPPED":
            break
    yield "installed, spooler disabled", lambda: installer.install(new), "done", new, DRIVER, "STOPPED"
    yield "removed, spooler disabled", lambda: installer.remove(new), "done", None, "", "STOPPED"
    machine.set_start(3)


def installed(packages, version):
    """The files of a version, with sums of their bytes."""
    with zipfile.ZipFile(os.path.join(packages, f"tsprintportmon-{version}-win-x64.zip")) as archive:
        return {f"{place}/{os.path.basename(name)}": crc32(archive.read(name)) for name, place in FILES.items()}


def checks(machine, installer, new):
    machine.run("net", "start", "spooler")
    path = machine.state()["path"]
    for name, action, outcome, version, key, spooler in steps(machine, installer, new):
        status, words = action()
        if outcome == "done":
            yield f"{name}: done", "", words if status else ""
        else:
            yield f"{name}: status", False, status == 0
            yield f"{name}: words", outcome, outcome if outcome in words else words
        files = installed(installer.packages, version) if version else {}
        if name == "installed over scripts":
            files[LEFT_BY_SCRIPTS[-1]] = crc32(b"left")
        expected = {"files": files, "key": key, "spooler": spooler,
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
            subprocess.run([os.path.join(ROOT, "packaging/package.py"), source, version, folder], check=True,
                           stdout=subprocess.DEVNULL)
        status = report(checks(machine, Installer(machine, folder), new))
    end_wine()
    return status


if __name__ == "__main__":
    sys.exit(main())
