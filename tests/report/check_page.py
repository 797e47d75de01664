#!/usr/bin/env python3
"""Looks at reports in a browser: check_page.py BINARIES [PICTURES]

Prints on busy servers, makes a report on their logs and opens it in Chromium: no complaint of the browser, the figures
of the page are those of --json, sorting works from the keyboard, and nothing from the log has become markup. Leaves
pictures in the folder PICTURES. Ends with a line "N passed, N failed".
"""
import json
import os
import shutil
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from browser import Browser  # noqa: E402

binaries = sys.argv[1]
pictures = sys.argv[2] if len(sys.argv) > 2 else None
counts = {True: 0, False: 0}


def check(what, good, details=""):
    counts[bool(good)] += 1
    if not good:
        print(f"FAILED: {what} {details}")


def same(what, found, expected):
    check(what, found == expected, f"\n  found    {found!r:.600}\n  expected {expected!r:.600}")


def tsport(*arguments):
    return subprocess.run([binaries + "/tsport", "report", *arguments], check=True, stdout=subprocess.PIPE).stdout


def tile(browser, name):
    return int(browser.evaluate(f"document.getElementById('n-{name}').dataset.v"))


def rows(browser, table):
    """The cells of a table: numbers where they have one, else their text."""
    return browser.evaluate(f"""
        Array.from(document.querySelectorAll('#{table} tbody tr'), row => Array.from(row.cells, cell =>
            cell.dataset.v === undefined ? cell.textContent : Number(cell.dataset.v)))""")


def check_figures(browser, report):
    for name, value in {
            "documents": report["documents"], "printed": report["outcomes"]["printed"],
            "late": report["outcomes"]["late"], "failed": report["failed"], "unknown": report["outcomes"]["unknown"],
            "bytes": report["bytes"], "held": report["held_ms"]}.items():
        same("the sum " + name, tile(browser, name), value)
    same("printers", rows(browser, "printers-table"), [
        [p["printer"], p["documents"], p["outcomes"]["printed"], p["outcomes"]["late"], p["failed"], p["bytes"],
         p["connect_ms"]["median"], p["connect_ms"]["p95"], p["bytes_per_second"]["median"],
         p["bytes_per_second"]["p95"], p["held_ms"], p["close_ms"]] for p in report["printers"]])
    causes = browser.evaluate("""Object.fromEntries(Array.from(document.querySelectorAll('#causes-table tbody tr'),
        row => [row.dataset.cause, Number(row.cells[1].dataset.v)]))""")
    same("causes", causes, report["causes"])
    found = [row[:10] + row[11:] for row in rows(browser, "documents-table")]
    same("documents", found, [
        [d["start"], d["printer"] or "?", d["job"] or 0, (d["port"] or "?") + (d["address"] or "?"), d["writes"],
         d["bytes"], d["start_ms"], d["write_ms"], d["end_ms"], d["held_ms"], d["words"]] for d in report["list"]])
    same("bars of documents that did not come out", browser.evaluate("""
        document.querySelectorAll('#timeline-chart rect.f, #timeline-chart rect.k').length"""), report["failed"])


def check_sorting(browser):
    """By the number of bytes, with the keyboard alone: up, then down."""
    button = "document.querySelectorAll('#documents-table thead button')[5]"
    browser.evaluate(button + ".focus()")
    for order in ("ascending", "descending"):
        for kind in ("keyDown", "keyUp"):
            browser.call("Input.dispatchKeyEvent", type=kind, key="Enter", code="Enter", text="\r",
                         windowsVirtualKeyCode=13)
        same("aria-sort", browser.evaluate(button + ".closest('th').getAttribute('aria-sort')"), order)
        values = [row[5] for row in rows(browser, "documents-table")]
        same("order", values, sorted(values, reverse=order == "descending"))
    same("headers sorted by", browser.evaluate("document.querySelectorAll('th[aria-sort]').length"), 1)


def check_page(browser):
    same("scripts", browser.evaluate("Array.from(document.scripts, script => script.type)"), ["application/json", ""])
    same("elements that are none of ours", browser.evaluate("""
        Array.from(new Set(Array.from(document.body.querySelectorAll('*'), e => e.localName))).filter(name =>
            !['header','main','footer','h1','h2','p','dl','div','dt','dd','section','ul','li','strong','code','table',
              'caption','thead','tbody','tr','th','td','button','br','span','svg','title','desc','line','text','rect',
              'script'].includes(name))"""), [])
    same("headers without a scope", browser.evaluate("document.querySelectorAll('th:not([scope])').length"), 0)
    check("pictures in words", browser.evaluate("""
        Array.from(document.querySelectorAll('svg')).every(svg => svg.getAttribute('role') === 'img' &&
            svg.getAttribute('aria-labelledby').split(' ').every(id => document.getElementById(id).textContent))"""))
    same("complaints", browser.complaints(), [])


def check_without_script(browser, page, report):
    """A table of sums, and nothing that waits to be filled."""
    browser.call("Emulation.setScriptExecutionDisabled", value=True)
    browser.open(page)
    same("sums without script", browser.evaluate("""Array.from(document.querySelectorAll('#sums td'), cell =>
        cell.textContent).slice(0, 5)"""), [f"{count:,}" for count in (
            report["documents"], report["outcomes"]["printed"], report["outcomes"]["late"], report["failed"],
            report["outcomes"]["unknown"])])
    same("sections without script", browser.evaluate("""Array.from(document.querySelectorAll('section'), section =>
        section.offsetHeight ? section.id : '').join('')"""), "sums")
    browser.call("Emulation.setScriptExecutionDisabled", value=False)


def look_at(browser, folder, name, log):
    report = json.loads(tsport(log, "--json"))
    page = f"{folder}/{name}.html"
    tsport(log, "--html", page)
    browser.open(page)
    check_figures(browser, report)
    check_page(browser)
    check_sorting(browser)
    same("complaints afterwards", browser.complaints(), [])
    check_without_script(browser, page, report)
    return report


def main():
    folder = tempfile.mkdtemp(prefix="report-check-")
    try:
        with Browser() as browser:
            for name, lines in (("courses", 8000), ("large", 200_000)):
                server = f"{folder}/{name}"
                subprocess.run([binaries + "/busy_server", server, str(lines)], check=True)
                report = look_at(browser, folder, name, f"{server}/providers/print/win")
                check("lines", report["lines"] > lines * 0.8, str(report["lines"]))
                same("lines that are broken", report["cut_lines"] + report["foreign_lines"], 0)
                check("all causes", len(report["causes"]) >= 7, str(report["causes"]))
                if name == "courses":
                    check("a page to print", len(browser.call("Page.printToPDF")["data"]) > 10000)
            if pictures:
                subprocess.run([binaries + "/busy_server", f"{folder}/paced", "16000", "paced"], check=True)
                tsport(f"{folder}/paced/providers/print/win", "--html", f"{folder}/paced.html")
                browser.open(f"{folder}/paced.html")
                for scheme in ("light", "dark"):
                    browser.picture(f"{pictures}/report-{scheme}.png", scheme, height=2040)
    finally:
        shutil.rmtree(folder, ignore_errors=True)
    print(f"{counts[True]} passed, {counts[False]} failed")
    return counts[False] != 0


sys.exit(main())
