#!/usr/bin/env python3
"""docs/LOG.md against the sources: every line of level ERROR and INFO has its entry, with the unit that writes it, and
every entry is still a line; the beginnings that tsport report knows lines by are those of real lines. Prints each
difference and a closing count. With --list, what the sources write."""
import pathlib
import re
import sys

root = pathlib.Path(__file__).resolve().parents[2]
LITERALS = r'"(?:[^"\\]|\\.)*"(?:\s*"(?:[^"\\]|\\.)*")*'

# Lines handed to a log call of another level than error.
HANDED_ON = {"TSM: reverting to printer self": "dev"}


def text_of(literals):
    """C++ literals that stand side by side, as the text they are."""
    text = "".join(re.findall(r'"((?:[^"\\]|\\.)*)"', literals))
    return re.sub(r"\\(.)", lambda found: {"n": "\n"}.get(found[1], found[1]), text).rstrip("\n")


def source_lines():
    """(level, unit, format) of all lines; those that are handed to a log call as "%s" stand elsewhere in their file."""
    lines = set()
    for folder in ("common", "winportmon/tsmon"):
        for file in sorted((root / folder).glob("*.cpp")):
            code = re.sub(r"^\s*//.*$", "", file.read_text(), flags=re.M)
            call = re.compile(r"\blog_(error|info|debug|dev|plain|failure)(?:_last_error|_code)?\(\s*(?:[^\";]*?,\s*)?LOG_HERE,"
                              r"[^\";]*?(" + LITERALS + ")", re.S)
            taken = []
            for found in call.finditer(code):
                taken.append(found.span(2))
                if text_of(found[2]) != "%s":
                    level = "error" if found[1] == "failure" else found[1]
                    lines.add((level, file.stem, text_of(found[2])))
            taken += [found.span(1) for found in re.finditer(r"OutputDebugStringA\((" + LITERALS + ")", code)]
            for found in re.finditer(LITERALS, code):
                text = text_of(found[0])
                handed_on = not any(begin <= found.start() < end for begin, end in taken)
                if handed_on and text.startswith(("TSM ", "TSM: ")):
                    lines.add((HANDED_ON.get(text, "error"), file.stem, text))
    return lines


def page_entries():
    """(level, unit, format) of the rows of docs/LOG.md; several lines of one meaning share a row."""
    entries = []
    level = None
    for line in (root / "docs/LOG.md").read_text().splitlines():
        if line.startswith("## "):
            level = line.split()[1].lower()
        cells = line.split(" | ")
        if line.startswith("| `") and len(cells) == 4:
            found = re.findall(r"``(.+?)``|`([^`]+)`", cells[0])
            entries += [(level, cells[1], double or single) for double, single in found]
    return entries


def known_beginnings():
    code = (root / "tsport/report/messages.cpp").read_text()
    return [text_of(found) for found in re.findall(r"^    \{(" + LITERALS + r"), Event::", code, re.M)]


def main():
    sources = source_lines()
    if "--list" in sys.argv:
        for line in sorted(sources):
            print(*line, sep="\t")
        return 0
    entries = page_entries()
    faults = []
    checked = 0
    for level, unit, text in sorted(sources):
        if level in ("error", "info"):
            checked += 1
            if not any(entry[1:] == (unit, text) for entry in entries):
                faults.append(f"docs/LOG.md has no entry for a line of level {level.upper()} of {unit}: {text}")
    for entry in entries:
        checked += 1
        if entry not in sources:
            faults.append(f"docs/LOG.md has an entry that {entry[1]} does not write with level {entry[0]}: {entry[2]}")
        if entries.count(entry) > 1:
            faults.append(f"docs/LOG.md has more than one entry for: {entry[2]}")
    texts = {text for _, _, text in sources}
    for tag in ("Write Port", "forceattr"):
        texts |= {text.replace("%s", tag, 1) for text in texts if text.startswith(("TSM %s", "TSM: %s"))}
    for beginning in known_beginnings():
        checked += 1
        if not any(text.startswith(beginning) for text in texts):
            faults.append(f"tsport report looks for a line that nothing writes: {beginning}")
    print("\n".join(faults + [f"{checked - len(faults)} passed, {len(faults)} failed"]))
    return 1 if faults or checked < 200 else 0


sys.exit(main())
