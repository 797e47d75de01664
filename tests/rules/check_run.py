#!/usr/bin/env python3
"""Looks at ./run itself: what it says of its commands, wrong lines, build folders of other checkouts, chosen and failed
tests, and Ctrl-C."""
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
# A project with targets of the names that ./run tools builds, and two tests. Its first target stops in the middle when a
# file says so. The first test prints what GoogleTest does of cases that passed, failed and crashed, the second one what a
# sanitizer finds within a case that has passed.
PROJECT = {
    "CMakeLists.txt": """cmake_minimum_required(VERSION 3.25)
project(small LANGUAGES NONE)
add_custom_target(spoolhost COMMAND sh ${CMAKE_SOURCE_DIR}/stop)
add_custom_target(fakeprinter)
add_custom_target(tsport)
add_custom_target(demo)
add_custom_target(ts-print-monitor)
enable_testing()
add_test(NAME small_tests COMMAND sh ${CMAKE_SOURCE_DIR}/small)
add_test(NAME noisy_tests COMMAND sh ${CMAKE_SOURCE_DIR}/noisy)
""",
    "CMakePresets.json": """{"version": 6, "configurePresets": [
 {"name": "native", "generator": "Ninja", "binaryDir": "${sourceDir}/build/${presetName}"},
 {"name": "asan", "inherits": "native"}]}""",
    "stop": "mktemp >/dev/null; [ ! -e wait ] || { touch waiting; sleep 60; }",
    "small": r"""printf '%s\n' "filter: $GTEST_FILTER" '[ RUN      ] Suite.Good' '[       OK ] Suite.Good (0 ms)' \
'[ RUN      ] Suite.Bad' 'what is wrong' '[  FAILED  ] Suite.Bad (0 ms)' '[ RUN      ] Suite.Crash'; exit 1""",
    "noisy": r"printf '%s\n' '[ RUN      ] Suite.Noisy' 'a data race' '[       OK ] Suite.Noisy (0 ms)'; exit 1",
    "tests/small/suite.cpp": "TEST(Suite, Bad) {}\n"}
FAILURES = """[ RUN      ] Suite.Bad
what is wrong
[  FAILED  ] Suite.Bad (0 ms)
    To repeat it alone: ./run test Suite.Bad
"""
CRASH = "    To repeat it alone: ./run test Suite.Crash\n"


def run(*words, folder=ROOT):
    done = subprocess.run([folder / "run", *words], stdin=subprocess.DEVNULL, capture_output=True, text=True)
    return done.returncode, done.stdout, done.stderr


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


def build_checks(folder):
    first, second, temporary = (folder / name for name in ("first", "second", "temporary"))
    temporary.mkdir()
    os.environ["TMPDIR"] = str(temporary)
    for name, text in PROJECT.items():
        (first / name).parent.mkdir(parents=True, exist_ok=True)
        (first / name).write_text(text)
    shutil.copy(ROOT / "run", first)
    yield "tools", 0, run("tools", folder=first)[0]
    first.rename(second)
    status, text, errors = run("tools", folder=second)
    tools = "spoolhost", "fakeprinter", "tsport", "demo", "ts-print-monitor.exe"
    yield "tools, elsewhere", (0, [f"{second}/build/native/bin/{name}" for name in tools], True), (
        status, text.split(), f"belongs to {first}" in errors)
    yield "tools, once more", False, "belongs to" in run("tools", folder=second)[2]
    for name, passed_on in {"Suite": "Suite.*:*/Suite.*", "S*.Bad": "S*.Bad", "small_tests": ""}.items():
        status, text, errors = run("test", name, folder=second)
        yield f"test {name}", (1, "0 passed, 1 failed\n", []), (status, text, [part for part in (
            f"filter: {passed_on}\n", FAILURES, CRASH) if part not in errors])
    status, text, errors = run("test", "noisy_tests", folder=second)
    yield "a failed program without a failed case", (1, "0 passed, 1 failed\n", True), (
        status, text, "a data race" in errors)
    status, text, errors = run("test", "Sweet.Bad", folder=second)
    yield "test of no such name", (2, "", "./run test: no program or case of that name: Sweet.Bad"), (
        status, text, errors.splitlines()[0])
    yield "temporary files", [], os.listdir(temporary)

    (second / "build/native/wait").touch()
    with subprocess.Popen([second / "run", "tools"], start_new_session=True, stdin=subprocess.DEVNULL,
                          stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as process:
        while process.poll() is None and not (second / "build/native/waiting").exists():
            time.sleep(0.05)
        yield "a temporary file while it runs", 1, len(os.listdir(temporary))
        os.killpg(process.pid, signal.SIGINT)
        yield "ended by Ctrl-C", True, process.wait() in (-signal.SIGINT, 128 + signal.SIGINT, 1)
    yield "temporary files after Ctrl-C", [], os.listdir(temporary)


with tempfile.TemporaryDirectory() as scratch:
    failures = [f"FAILED {what}: expected {expected!r}, found {found!r}"
                for checks in (line_checks(), build_checks(pathlib.Path(scratch)))
                for what, expected, found in checks if expected != found]
sys.exit("\n".join(failures) or 0)
