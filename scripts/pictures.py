#!/usr/bin/env python3
"""Draws docs/watch.svg and docs/dashboard.svg: pictures.py TSPORT. The one is what tsport watch prints of examples/. For
the other a Prometheus gets the metrics of that morning, as a collector would have read them every two minutes; drawn is
what it answers to the queries of examples/grafana-dashboard.json."""
import collections
import contextlib
import datetime
import html
import json
import pathlib
import re
import socket
import subprocess
import sys
import tempfile
import time
import urllib.parse
import urllib.request

ROOT = pathlib.Path(__file__).resolve().parents[1]
TSPORT = pathlib.Path(sys.argv[1]).resolve()
UTC = datetime.timezone.utc
START = int(datetime.datetime(2025, 3, 3, 8, 0, tzinfo=UTC).timestamp())
END = START + 144 * 60
STEP = 120
COLOURS = "#73bf69", "#f2cc0c", "#5794f2", "#ff9830", "#f2495c", "#b877d9", "#8ab8ff"
VARIABLES = {
    "$instance": ".*", "$__range": f"{END - START}s", "$__rate_interval": f"{4 * STEP}s", "$__interval": f"{STEP}s"}


def tsport(*words):
    return subprocess.run([TSPORT, *words], cwd=ROOT, stdout=subprocess.PIPE, text=True, env={"TZ": "UTC"}).stdout


def text(x, y, words, size=13, colour="#ccccdc", anchor="start"):
    return (f'<text x="{x:.0f}" y="{y:.0f}" font-size="{size}" fill="{colour}" text-anchor="{anchor}" '
            f'xml:space="preserve">{html.escape(words)}</text>')


def bar(x, y, width, height, colour, more=""):
    return f'<rect x="{x:.1f}" y="{y:.1f}" width="{width:.1f}" height="{height:.1f}" fill="{colour}"{more}/>'


def svg(width, height, font, parts):
    size = f'width="{width}" height="{height}" viewBox="0 0 {width} {height}"'
    return "\n".join([f'<svg xmlns="http://www.w3.org/2000/svg" {size} font-family="{font}">',
                      bar(0, 0, width, height, "#111217", ' rx="6"'), *parts, "</svg>\n"])


def watch():
    """As on a terminal of 110 columns."""
    lines = [line for printed in tsport("watch", "examples/server", "--once", "--at", "2025-03-03 10:20:38").splitlines()
             for line in (re.findall(".{1,110}", printed) or [""])]
    parts, alarming = [], False
    for number, line in enumerate(lines):
        alarming = bool(line) and (alarming or line.startswith("!"))
        parts.append(text(14, 26 + 19 * number, line, colour="#ff9830" if alarming else "#ccccdc"))
    return svg(900, 19 * len(lines) + 28, "monospace", parts)


def samples(folder):
    """The metrics at each time that a collector reads them, in the format of OpenMetrics."""
    for at in range(START, END + 1, STEP):
        until = datetime.datetime.fromtimestamp(at, UTC).strftime("%Y-%m-%d %H:%M:%S")
        file = pathlib.Path(folder, f"{at}.prom")
        tsport("report", "examples/server", "--until", until, "--prometheus", str(file))
        for line in file.read_text().splitlines():
            if found := re.fullmatch(r"(\w+)(?:\{(.*)\})? (\S+)", line):
                name, labels, value = found.groups()
                yield f'{name}{{{labels + "," if labels else ""}instance="printserver"}} {value} {at}\n'
    yield "# EOF\n"


@contextlib.contextmanager
def prometheus():
    """The address of one that knows the samples."""
    with tempfile.TemporaryDirectory() as folder, socket.socket() as listener:
        listener.bind(("127.0.0.1", 0))
        address = f"127.0.0.1:{listener.getsockname()[1]}"
        listener.close()
        pathlib.Path(folder, "samples").write_text("".join(samples(folder)))
        pathlib.Path(folder, "prometheus.yml").write_text("")
        subprocess.run(["promtool", "tsdb", "create-blocks-from", "openmetrics", "samples", "data"], cwd=folder, check=True,
                       stdout=subprocess.DEVNULL)
        process = subprocess.Popen(["prometheus", "--storage.tsdb.path=data", "--storage.tsdb.retention.time=100y",
                                    f"--web.listen-address={address}"], cwd=folder, stderr=subprocess.DEVNULL)
        try:
            while True:
                with contextlib.suppress(OSError):
                    urllib.request.urlopen(f"http://{address}/-/ready")
                    break
                time.sleep(0.1)
            yield address
        finally:
            process.terminate()
            process.wait()


def ask(address, target, instant):
    """[(legend, [(time, value)], labels)] of one query."""
    query = target["expr"]
    for variable, value in VARIABLES.items():
        query = query.replace(variable, value)
    when = {"time": END} if instant else {"start": START, "end": END, "step": STEP}
    url = f"http://{address}/api/v1/query{'' if instant else '_range'}?" + urllib.parse.urlencode({"query": query, **when})
    with urllib.request.urlopen(url) as answer:
        result = json.load(answer)["data"]["result"]
    legend = target["legendFormat"]
    return [(re.sub(r"\{\{(\w+)\}\}", lambda label: each["metric"].get(label[1], ""), legend),
             [(float(at), float(value)) for at, value in each.get("values") or [each["value"]] if value != "NaN"],
             each["metric"])
            for each in result]


def amount(value, unit):
    if unit == "bytes":
        return f"{value / (1 << 20):.1f} MiB"
    return f"{value:.3g} s" if unit == "s" else f"{value:g}"


def draw(address, panel):
    grid = panel["gridPos"]
    left, top, width, height = (grid[name] * factor for name, factor in zip("xywh", (50, 30, 50, 30)))
    unit, kind = panel["fieldConfig"]["defaults"]["unit"], panel["type"]
    series = [found for target in panel["targets"] for found in ask(address, target, kind != "timeseries")]
    yield bar(left + 4, top + 4, width - 8, height - 8, "#181b1f", ' rx="3" stroke="#2c3235"')
    yield text(left + 14, top + 24, panel["title"])
    is_stacked = "custom" in panel["fieldConfig"]["defaults"]
    heights = collections.Counter()
    for number, (_, points, _) in enumerate(series):
        for at, value in points:
            heights[at if is_stacked else (at, number)] += value
    most = max(heights.values(), default=0) or 1
    if kind == "stat":
        value = series[0][1][0][1]
        steps = panel["fieldConfig"]["defaults"].get("thresholds", {"steps": []})["steps"]
        passed = [step["color"] for step in steps if step["value"] is None or value >= step["value"]] or ["green"]
        colour = {"green": "#73bf69", "red": "#f2495c", "orange": "#ff9830"}[passed[-1]]
        yield text(left + width / 2, top + 82, amount(value, unit), 40, colour, "middle")
    elif kind == "table":
        for number, (_, _, labels) in enumerate(series):
            yield text(left + 14, top + 54 + 22 * number, f'{labels["printer"]}  on {labels["instance"]}')
    elif kind == "bargauge":
        for number, (legend, points, _) in enumerate(series):
            y = top + 40 + number * (height - 52) / len(series)
            yield text(left + 170, y + 13, legend, 12, anchor="end")
            yield bar(left + 180, y, (width - 240) * points[0][1] / most, 15, "#f2495c")
            yield text(left + width - 44, y + 13, amount(points[0][1], unit), 12)
    else:
        low, high, right = top + height - 50, top + 40, left + width - 16
        for part in (0, 0.5, 1):
            y = low - (low - high) * part
            yield bar(left + 70, y, right - left - 70, 1, "#2c3235")
            yield text(left + 64, y + 4, amount(most * part, unit), 11, "#8e8e99", "end")
        place = lambda at: left + 70 + (right - left - 70) * (at - START) / (END - START)
        for hour in (8, 9, 10):
            yield text(place(START + 3600 * (hour - 8)), low + 15, f"{hour:02}:00", 11, "#8e8e99")
        x, below = left + 14, collections.Counter()
        seen = [each for each in series if any(value for _, value in each[1])]
        for (legend, points, _), colour in zip(seen, COLOURS):
            places = [(at, place(at), (low - high) * value / most) for at, value in points]
            if is_stacked:
                for at, dot, size in places:
                    below[at] += size
                    yield bar(dot - 2, low - below[at], 4, size, colour) if size else ""
            else:
                line = " ".join(f"{dot:.1f},{low - size:.1f}" for _, dot, size in places)
                yield f'<polyline points="{line}" fill="none" stroke="{colour}" stroke-width="1.5"/>'
            yield bar(x, low + 26, 12, 4, colour) + text(x + 16, low + 32, legend, 11)
            x += 28 + 6.3 * len(legend)


def dashboard():
    panels = json.loads((ROOT / "examples/grafana-dashboard.json").read_text())["panels"]
    with prometheus() as address:
        parts = [part for panel in panels for part in draw(address, panel) if part]
    return svg(1200, max(30 * (panel["gridPos"]["y"] + panel["gridPos"]["h"]) for panel in panels), "sans-serif", parts)


(ROOT / "docs/watch.svg").write_text(watch())
(ROOT / "docs/dashboard.svg").write_text(dashboard())
