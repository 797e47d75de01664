#!/usr/bin/python3
"""Looks at a report in a browser: check_page.py BINARIES PICTURES

Makes a report on the logs of a soak and opens it in Chromium: no complaint of the browser, the figures of the page are
those of --json, sorting works from the keyboard, and nothing from the log has become markup. Leaves pictures of the
sample page in the folder PICTURES. Ends with a line "N passed, N failed".
"""
import base64
import json
import pathlib
import re
import subprocess
import sys
import tempfile

from selenium import webdriver
from selenium.webdriver.common.keys import Keys

binaries, pictures = sys.argv[1:]
sample = pathlib.Path(__file__).resolve().parents[2] / "tsport/report/page/report.html"
counts = {True: 0, False: 0}


def same(what, found, expected=True):
    counts[found == expected] += 1
    if found != expected:
        print(f"FAILED: {what}\n  found    {found!r:.600}\n  expected {expected!r:.600}")


def program(*words, **options):
    return subprocess.run([f"{binaries}/{words[0]}", *words[1:]], check=True, stdout=subprocess.PIPE, **options).stdout


class Browser(webdriver.Chrome):
    def __init__(self):
        options = webdriver.ChromeOptions()
        for word in ("headless=new", "no-sandbox", "disable-dev-shm-usage", "no-first-run"):
            options.add_argument("--" + word)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        super().__init__(options=options)

    def open(self, path):
        self.complaints()
        self.get(f"file://{path}")

    def evaluate(self, expression):
        return self.execute_script("return " + expression.strip())

    def complaints(self):
        """What the browser had to say against the page, and what the page has fetched."""
        found = [entry["message"] for entry in self.get_log("browser")]
        for entry in self.get_log("performance"):
            message = json.loads(entry["message"])["message"]
            url = message["params"].get("request", {}).get("url", "file:///")
            if message["method"] == "Network.requestWillBeSent" and not url.startswith("file:///"):
                found.append("fetched " + url[:200])
        return found

    def set_width(self, width, height=900):
        self.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})

    def picture(self, scheme, width=1360, height=2040):
        """The upper part of the page as it looks in "light" or "dark"."""
        self.execute_cdp_cmd("Emulation.setEmulatedMedia", {
            "media": "screen", "features": [{"name": "prefers-color-scheme", "value": scheme}]})
        self.set_width(width, height)
        with open(f"{pictures}/report-{scheme}.png", "wb") as file:
            file.write(base64.b64decode(self.get_screenshot_as_base64()))


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
        same("the sum " + name, browser.evaluate(f"Number(document.getElementById('n-{name}').dataset.v)"), value)
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
         d["bytes"], d["start_ms"], d["write_ms"], d["end_ms"], d["held_ms"], d["message"]] for d in report["list"]])
    same("bars of documents that did not come out", browser.evaluate("""
        document.querySelectorAll('#timeline-chart rect.f, #timeline-chart rect.k').length"""), report["failed"])


def check_sorting(browser):
    """By the number of bytes, with the keyboard alone: up, then down."""
    button = browser.evaluate("document.querySelectorAll('#documents-table thead button')[5]")
    for order in ("ascending", "descending"):
        button.send_keys(Keys.ENTER)
        same("aria-sort", browser.execute_script("return arguments[0].closest('th').getAttribute('aria-sort')", button),
             order)
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
    same("pictures in words", browser.evaluate("""
        Array.from(document.querySelectorAll('svg')).every(svg => svg.getAttribute('role') === 'img' &&
            svg.getAttribute('aria-labelledby').split(' ').every(id => document.getElementById(id).textContent))"""))
    browser.set_width(1280)
    same("what is cut off at 1,280 points", browser.evaluate("""Array.from(document.querySelectorAll('html, .wide'))
        .filter(e => e.scrollWidth > e.clientWidth).map(e => e.ariaLabel || e.getAttribute('aria-labelledby'))"""), [])
    same("complaints", browser.complaints(), [])


def check_without_script(browser, page, report):
    """A table of sums, and nothing that waits to be filled."""
    browser.execute_cdp_cmd("Emulation.setScriptExecutionDisabled", {"value": True})
    browser.open(page)
    same("sums without script", browser.evaluate("""Array.from(document.querySelectorAll('#sums td'), cell =>
        cell.textContent).slice(0, 5)"""), [f"{count:,}" for count in (
            report["documents"], report["outcomes"]["printed"], report["outcomes"]["late"], report["failed"],
            report["outcomes"]["unknown"])])
    same("sections without script", browser.evaluate("""Array.from(document.querySelectorAll('section'), section =>
        section.offsetHeight ? section.id : '').join('')"""), "sums")
    browser.execute_cdp_cmd("Emulation.setScriptExecutionDisabled", {"value": False})


def main():
    with tempfile.TemporaryDirectory(prefix="report-check-") as folder, Browser() as browser:
        soak = program("soak", "--documents", "400", "--keep", env={"TMPDIR": folder}).decode()
        log = pathlib.Path(soak.split("logs and records: ")[1].splitlines()[0], "providers/print/win")
        for file in log.glob("print-monitor.log*"):  # fewer printers, with names that would break a page as markup
            text = re.sub(rb"port-1(\d)\d", rb'Labels "\1" & <script>alert(1)</script>', file.read_bytes())
            file.write_bytes(text)
        report = json.loads(program("tsport", "report", log, "--json"))
        same("all causes", len(report["causes"]) >= 7)
        same("lines that are broken", report["cut_lines"] + report["foreign_lines"], 0)
        page = f"{folder}/report.html"
        program("tsport", "report", log, "--html", page)
        browser.open(page)
        check_figures(browser, report)
        check_page(browser)
        check_sorting(browser)
        same("complaints afterwards", browser.complaints(), [])
        check_without_script(browser, page, report)
        browser.open(sample)
        same("a page to print", len(browser.print_page()) > 10000)
        for scheme in ("light", "dark"):
            browser.picture(scheme)
    print(f"{counts[True]} passed, {counts[False]} failed")
    return counts[False] != 0


sys.exit(main())
