#!/usr/bin/env python3
"""Looks at ./run itself: what it says of its commands, wrong lines, build folders of other checkouts, chosen and failed
tests, and Ctrl-C."""
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
# A project with targets of the names that ./run tools builds, and a test. The first target stops in the middle when a file
# says so.
PROJECT = """cmake_minimum_required(VERSION 3.25)
project(small LANGUAGES NONE)
foreach(tool fakeprinter tsport)
  add_custom_target(${tool})
endforeach()
add_custom_target(spoolhost COMMAND ${CMAKE_SOURCE_DIR}/stop)
enable_testing()
add_test(NAME small_tests COMMAND ${CMAKE_SOURCE_DIR}/small_tests)
add_test(NAME noisy_tests COMMAND ${CMAKE_SOURCE_DIR}/noisy_tests)
"""
STOP = """#!/bin/sh
mktemp >/dev/null
[ ! -e wait ] || { touch waiting; sleep 60; }
"""
# What GoogleTest prints, of a case that passed, one that failed and one that crashed.
SMALL_TESTS = """#!/bin/sh
cat <<END
filter: $GTEST_FILTER
[ RUN      ] Suite.Good
[       OK ] Suite.Good (0 ms)
[ RUN      ] Suite.Bad
what is wrong
[  FAILED  ] Suite.Bad (0 ms)
[ RUN      ] Suite.Crash
END
exit 1
"""
# What a sanitizer finds within a case that has passed.
NOISY_TESTS = """#!/bin/sh
echo '[ RUN      ] Suite.Noisy'
echo 'a data race'
echo '[       OK ] Suite.Noisy (0 ms)'
exit 1
"""
FAILURES = """[ RUN      ] Suite.Bad
what is wrong
[  FAILED  ] Suite.Bad (0 ms)
    To repeat it alone: ./run test Suite.Bad
"""
CRASH = "    To repeat it alone: ./run test Suite.Crash\n"
PRESETS = """{"version": 6, "configurePresets": [
 {"name": "native", "generator": "Ninja", "binaryDir": "${sourceDir}/build/${presetName}"},
 {"name": "asan", "inherits": "native"}]}"""


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
    for words, why in {("windows", "test", "tset"): "unknown step tset", ("test", "one", "two"): "too many arguments: two",
                       ("fuzz", "ten"): "no number: ten", ("faults", "--seed"): "--seed needs a value"}.items():
        status, text, errors = run(*words)
        yield " ".join(words), (2, "", f"./run {words[0]}: {why}"), (status, text, errors.splitlines()[0])


def build_checks():
    with tempfile.TemporaryDirectory() as folder:
        first, second, temporary = (os.path.join(folder, name) for name in ("first", "second", "temporary"))
        os.environ["TMPDIR"] = temporary
        os.mkdir(temporary)
        for name, text in {"CMakeLists.txt": PROJECT, "CMakePresets.json": PRESETS, "stop": STOP,
                           "small_tests": SMALL_TESTS, "noisy_tests": NOISY_TESTS,
                           "tests/small/suite.cpp": "TEST(Suite, Bad) {}\n"}.items():
            os.makedirs(os.path.dirname(os.path.join(first, name)), exist_ok=True)
            with open(os.path.join(first, name), "w", encoding="ascii") as file:
                file.write(text)
        for name in "stop", "small_tests", "noisy_tests":
            os.chmod(os.path.join(first, name), 0o755)
        shutil.copy(os.path.join(ROOT, "run"), first)
        paths = [f"{second}/build/native/bin/{name}" for name in ("spoolhost", "fakeprinter", "tsport")]
        yield "tools", 0, run("tools", folder=first)[0]
        os.rename(first, second)
        yield "tools, elsewhere", (0, paths, True), (lambda status, text, errors: (
            status, text.split(), f"belongs to {first}" in errors))(*run("tools", folder=second))
        yield "tools, once more", False, "belongs to" in run("tools", folder=second)[2]
        for name, passed_on in {"Suite": "Suite.*:*/Suite.*", "S*.Bad": "S*.Bad", "small_tests": ""}.items():
            status, text, errors = run("test", name, folder=second)
            yield f"test {name}", (1, "0 passed, 1 failed\n", True, True, True), (
                status, text, f"filter: {passed_on}\n" in errors, FAILURES in errors, CRASH in errors)
        status, text, errors = run("test", "noisy_tests", folder=second)
        yield "a failed program without a failed case", (1, "0 passed, 1 failed\n", True), (status, text, "a data race" in errors)
        status, text, errors = run("test", "Sweet.Bad", folder=second)
        yield "test of no such name", (2, "", "./run test: no program or case of that name: Sweet.Bad"), (
            status, text, errors.splitlines()[0])
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
