#!/usr/bin/env python3
"""docs/LOG.md against the sources: every line of level ERROR and INFO has its entry, with the unit that writes it, and
every entry is still a line; the beginnings that tsport report knows lines by are those of real lines. Prints each
difference and a closing count."""
import pathlib
import re
import sys

root = pathlib.Path(__file__).resolve().parents[2]
LITERALS = r'"(?:[^"\\]|\\.)*"(?:\s*"(?:[^"\\]|\\.)*")*'
LOG_CALL = re.compile(r"\blog_(error|info|debug|dev|plain|failure)(?:_last_error|_code)?\(\s*(?:[^\";]*?,\s*)?LOG_HERE,"
                      rf"[^\";]*?({LITERALS})", re.S)
# Lines handed to a log call of another level than error.
HANDED_ON = {"TSM: reverting to printer self": "dev"}


def text_of(literals):
    """C++ literals that stand side by side, as the text they are."""
    text = "".join(re.findall(r'"((?:[^"\\]|\\.)*)"', literals))
    return re.sub(r"\\(.)", lambda found: {"n": "\n"}.get(found[1], found[1]), text).rstrip("\n")


def source_lines():
    """(level, unit, format) of all lines; those that are handed to a log call as "%s" stand elsewhere in their file."""
    lines = set()
    for file in (*root.glob("common/*.cpp"), *root.glob("winportmon/tsmon/*.cpp"), *root.glob("winportmon/tsmon/*.h")):
        code = re.sub(r"^\s*//.*$", "", file.read_text(), flags=re.M)
        calls = {found.start(2): (found[1].replace("failure", "error"), text_of(found[2]))
                 for found in LOG_CALL.finditer(code)}
        lines |= {(level, file.stem, text) for level, text in calls.values() if text != "%s"}
        for found in re.finditer(rf"(OutputDebugStringA\()?({LITERALS})", code):
            text = text_of(found[2])
            if not found[1] and found.start(2) not in calls and text.startswith(("TSM ", "TSM: ")):
                lines.add((HANDED_ON.get(text, "error"), file.stem, text))
    return lines


def page_entries():
    """(level, unit, format) of the rows of docs/LOG.md; several lines of one meaning share a row."""
    for section in (root / "docs/LOG.md").read_text().split("\n## ")[1:]:
        for cells in (line.split(" | ") for line in section.splitlines() if line.startswith("| `")):
            if len(cells) == 4:
                for double, single in re.findall(r"``(.+?)``|`([^`]+)`", cells[0]):
                    yield section.split()[0].lower(), cells[1], double or single


sources = source_lines()
entries = list(page_entries())
texts = {text for _, _, text in sources}
for tag in "Write Port", "forceattr":
    texts |= {text.replace("%s", tag, 1) for text in texts if text.startswith(("TSM %s", "TSM: %s"))}
needed = [line for line in sources if line[0] in ("error", "info")]
known = [text_of(found) for found in re.findall(rf"^    \{{({LITERALS}), Event::",
                                                (root / "tsport/report/messages.cpp").read_text(), re.M)]
unit_lines = {entry[1:] for entry in entries}
faults = [
    *(f"docs/LOG.md has no entry for this line: {line}" for line in needed if line[1:] not in unit_lines),
    *(f"docs/LOG.md has an entry that nothing writes: {entry}" for entry in entries if entry not in sources),
    *(f"docs/LOG.md has more than one entry for: {entry}" for entry in set(entries) if entries.count(entry) > 1),
    *(f"tsport report looks for a line that nothing writes: {beginning}" for beginning in known
      if not any(text.startswith(beginning) for text in texts))]
checked = len(needed) + len(entries) + len(known)
print("\n".join([*faults, f"{checked - len(faults)} passed, {len(faults)} failed"]))
sys.exit(1 if faults or checked < 200 else 0)
