#!/usr/bin/env python3
"""Types the commands that README.md, docs/ and packaging/README.txt show, in a copy of examples/, and compares what they
print with what is shown; and whether the metrics of the sample dashboard are those of tsport. check_docs.py PROGRAM...
[--update]: with --update what the commands print is written into the documents."""
import functools
import itertools
import os
import pathlib
import re
import shutil
import socket
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
PROGRAMS = [pathlib.Path(word).resolve() for word in sys.argv[1:] if word != "--update"]
DOCUMENTS = [ROOT / "README.md", *sorted(ROOT.glob("docs/*.md")), ROOT / "examples/README.md",
             ROOT / "packaging/README.txt"]
# "$ " stands before what is typed in a clone, "> " before what is typed in Windows' command prompt; commands without
# either are typed here if they can be. These cannot:
NOT_HERE = {
    r"\./run (?!demo$)": "builds, or takes minutes",
    r"(msiexec|reg|icacls|for|appverif|cdb|net) ": "Windows' own program",
    r"\.sympath|\.reload|lmvm|k$": "for a debugger",
    r"llvm-symbolizer": "needs the build for Windows",
    r"(> )?tsport (migrate|add|list|test|export|report|--help)\b": "needs a print server"}
# Blocks that show something else, by their beginnings.
NO_COMMANDS = r'\{"version"|StartDocPort|\d{4}-|tsprintportmon\.dll|print-provider\.conf|HKLM|\.\.\.\\'
# What differs each time where one of these commands is in the block: times, speeds, threads, lines of the sources.
LIVE = r"\$ (\./run demo|spoolhost)"
CHANGING = r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d[,.]\d{3}|\[\d+\]|\.cpp:\d+|\d+(\.\d+)? (ms|s|[KMG]?i?B/s)(?!\w)|  +"
problems = []


class Command:
    def __init__(self, number, line, live):
        self.number, self.live = number, live
        self.is_shown, self.text = line.startswith("$ "), line.removeprefix("$ ")
        self.shown, self.printed, self.status = [], [], ""


def commands_of(document, lines):
    """Those that are typed here, with the lines that are shown below them."""
    commands, block, command = [], False, None
    for number, line in enumerate(lines):
        is_code = line.startswith("    ")
        if is_code and not block and not lines[number - 1]:
            block = line.strip()
            rest = itertools.takewhile(lambda other: not other or other.startswith("    "), lines[number:])
            live = any(re.match(LIVE, other.strip()) for other in rest)
            command = None
        elif not is_code and line:
            block = False
        text = line.strip()
        if not block or re.match(NO_COMMANDS, block):
            continue
        if any(re.match(pattern, text) for pattern in NOT_HERE):
            command = None
        elif text.startswith("$ ") or block[:2] not in ("$ ", "> ") and text.startswith("tsport "):
            command = Command(number, text, live)
            commands.append(command)
        elif command:
            command.shown.append(line[4:])
        elif text and not block.startswith("> "):
            problems.append(f"{document.name}:{number + 1}: is it typed here? {text}")
    for command in commands:
        while command.shown and not command.shown[-1]:
            command.shown.pop()
    return commands


def free_port():
    with socket.socket() as listener:
        listener.bind(("127.0.0.1", 0))
        return str(listener.getsockname()[1])


def type_commands(commands, folder):
    """Fills in what they print."""
    script, port = "shopt -s expand_aliases\n", free_port()
    for command in commands:
        script += re.sub(r"(127\.0\.0\.1:|--port )9100", rf"\g<1>{port}", command.text) + "\n"
        # Whoever types takes so long that a program in the background has begun.
        script += "".join(f"until [ -s {log} ]; do sleep 0.05; done\n" for log in re.findall(r">(\S+) &$", command.text))
        script += "printf '\\036%d\\n' $?\n"
    path = f"{PROGRAMS[0].parent}:{os.environ['PATH']}"
    done = subprocess.run(["bash", "-c", script], cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True,
                          stderr=subprocess.STDOUT, env={**os.environ, "PATH": path, "TZ": "UTC"}, timeout=120)
    ended = re.findall(r"((?:.*\n)*?)\036(\d+)\n", done.stdout.replace("\ufeff", "").replace(f":{port}", ":9100"))
    for command, (printed, command.status) in zip(commands, ended):
        command.printed = [line.rstrip() for line in printed.splitlines()]


def is_as_shown(command):
    """A line "..." stands for any lines."""
    if not command.is_shown:
        return command.status == "0"
    lines = [[re.sub(CHANGING, "~", line) if command.live else line for line in some]
             for some in (command.shown, command.printed)]
    pattern = "".join("(.*\n)*?" if line == "..." else re.escape(line) + "\n" for line in lines[0])
    return re.fullmatch(pattern, "".join(line + "\n" for line in lines[1]))


@functools.cache
def known(*words):
    """The options that a help text of tsport names, and whether it is a verb's."""
    help_text = subprocess.run([PROGRAMS[0], *words], capture_output=True, text=True).stdout
    return set(re.findall(r"--[a-z-]+", help_text)), help_text.startswith("usage: tsport")


def wrong_options(text):
    """Options and verbs of tsport that a document names and tsport does not know."""
    common = known("--help")[0]
    for line in re.findall(r"`tsport ([^`]+)`|^ +(?:[$>] )?tsport (.+)", text, re.M):
        words = "".join(line).split(" | ")[0].split()
        verb = next((word for word in words if re.fullmatch("[a-z]+", word)), None)
        options, is_verb = known("help", verb) if verb else (set(), True)
        used = set(re.findall(r"(?<!\S)--[a-z-]+", " ".join(words)))
        if not is_verb or used - options - common:
            yield "".join(line)


def unknown_metrics(folder):
    """Those that the dashboard asks for and tsport does not write."""
    subprocess.run([PROGRAMS[0], "report", ROOT / "examples/server", "--prometheus", f"{folder}/metrics"], check=True,
                   stdout=subprocess.DEVNULL)
    written = re.findall(r"(?m)^tsport_\w+", pathlib.Path(folder, "metrics").read_text())
    asked = re.findall(r"tsport_\w+", (ROOT / "examples/grafana-dashboard.json").read_text())
    return set(asked) - set(written) or ([] if len(asked) > 10 else ["there are hardly any"])


def main():
    typed = 0
    with tempfile.TemporaryDirectory() as folder:
        problems.extend(f"examples/grafana-dashboard.json: no such metric: {name}" for name in unknown_metrics(folder))
    for document in DOCUMENTS:
        text = document.read_text()
        lines = text.splitlines()
        commands = commands_of(document, lines)
        problems.extend(f"{document.name}: no such verb or option: tsport {line}" for line in wrong_options(text))
        with tempfile.TemporaryDirectory() as folder:
            shutil.copytree(ROOT / "examples", f"{folder}/examples")
            (pathlib.Path(folder) / "testbed").symlink_to(ROOT / "testbed")
            (pathlib.Path(folder) / "run").symlink_to(shutil.which("env"))  # so that ./run demo runs it
            type_commands(commands, folder)
        typed += len(commands)
        for command in reversed(commands):
            if is_as_shown(command):
                continue
            if "--update" in sys.argv and command.is_shown and "..." not in command.shown:
                start = command.number + 1
                lines[start:start + len(command.shown)] = ["    " + line if line else "" for line in command.printed]
            else:
                place = f"{document.name}:{command.number + 1}"
                problems.append("\n    ".join([f"{place}: {command.text} prints", *command.printed]))
        if "--update" in sys.argv:
            document.write_text("\n".join(lines) + "\n")
    print("\n".join([*problems, f"{typed - len(problems)} passed, {len(problems)} failed"]))
    return 1 if problems or typed < 30 else 0


sys.exit(main())
