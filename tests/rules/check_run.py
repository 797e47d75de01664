#!/usr/bin/env python3
"""Looks at ./run itself: what it says of its commands, wrong lines, build folders of other checkouts, and Ctrl-C."""
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
# A project with targets of the names that ./run tools builds. The first one stops in the middle when a file says so.
PROJECT = """cmake_minimum_required(VERSION 3.25)
project(small LANGUAGES NONE)
foreach(tool fakeprinter tsport)
  add_custom_target(${tool})
endforeach()
add_custom_target(spoolhost COMMAND ${CMAKE_SOURCE_DIR}/stop)
"""
STOP = """#!/bin/sh
mktemp >/dev/null
[ ! -e wait ] || { touch waiting; sleep 60; }
"""
PRESETS = """{"version": 6, "configurePresets": [{"name": "native", "generator": "Ninja",
 "binaryDir": "${sourceDir}/build/${presetName}"}]}"""


def run(*words, folder=ROOT):
    done = subprocess.run([os.path.join(folder, "run"), *words], stdin=subprocess.DEVNULL, capture_output=True)
    return done.returncode, done.stdout.decode(), done.stderr.decode()


def line_checks():
    status, usage, _ = run("--help")
    commands = re.findall(r"(?m)^  \./run (\w+)", usage)
    yield "help", (0, True), (status, len(commands) > 8)
    yield "no command", (2, "", usage), run()
    yield "unknown command", (2, "", "./run: unknown command tets\n" + usage), run("tets")
    for command in commands:
        status, text, errors = run(command, "--help")
        yield f"{command} --help", (0, True, ""), (status, text.startswith(f"  ./run {command}") and text in usage, errors)
        yield f"help {command}", (0, text, ""), run("help", command)
        yield f"{command} --hlep", (2, "", f"./run {command}: unknown option --hlep\n" + text), run(command, "--hlep")
    for words, why in {("windows", "test", "tset"): "unknown step tset", ("test", "quickly"): "too many arguments: quickly",
                       ("fuzz", "ten"): "no number: ten", ("faults", "--seed"): "--seed needs a value"}.items():
        status, text, errors = run(*words)
        yield " ".join(words), (2, "", f"./run {words[0]}: {why}"), (status, text, errors.splitlines()[0])


def build_checks():
    with tempfile.TemporaryDirectory() as folder:
        first, second, temporary = (os.path.join(folder, name) for name in ("first", "second", "temporary"))
        os.environ["TMPDIR"] = temporary
        os.mkdir(temporary)
        os.mkdir(first)
        for name, text in {"CMakeLists.txt": PROJECT, "CMakePresets.json": PRESETS, "stop": STOP}.items():
            with open(os.path.join(first, name), "w", encoding="ascii") as file:
                file.write(text)
        os.chmod(os.path.join(first, "stop"), 0o755)
        shutil.copy(os.path.join(ROOT, "run"), first)
        paths = [f"{second}/build/native/bin/{name}" for name in ("spoolhost", "fakeprinter", "tsport")]
        yield "tools", 0, run("tools", folder=first)[0]
        os.rename(first, second)
        yield "tools, elsewhere", (0, paths, True), (lambda status, text, errors: (
            status, text.split(), f"belongs to {first}" in errors))(*run("tools", folder=second))
        yield "tools, once more", False, "belongs to" in run("tools", folder=second)[2]
        yield "temporary files", [], os.listdir(temporary)

        open(os.path.join(second, "build/native/wait"), "w", encoding="ascii").close()
        with subprocess.Popen([os.path.join(second, "run"), "tools"], start_new_session=True, stdin=subprocess.DEVNULL,
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as process:
            while process.poll() is None and not os.path.exists(os.path.join(second, "build/native/waiting")):
                time.sleep(0.05)
            yield "a temporary file while it runs", 1, len(os.listdir(temporary))
            os.killpg(process.pid, signal.SIGINT)
            yield "ended by Ctrl-C", True, process.wait() in (-signal.SIGINT, 128 + signal.SIGINT, 1)
        yield "temporary files after Ctrl-C", [], os.listdir(temporary)


def main():
    failed = 0
    for checks in line_checks, build_checks:
        for what, expected, found in checks():
            if expected != found:
                failed += 1
                print(f"FAILED {what}: expected {expected!r}, found {found!r}")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
