"""A headless Chromium, driven over the pipe of its developer tools: nothing but the browser itself is needed."""
import base64
import json
import os
import shutil
import subprocess
import tempfile


class Browser:
    def __init__(self, program="chromium"):
        self.profile = tempfile.mkdtemp(prefix="report-browser-")
        from_us, self.to_browser = os.pipe()
        self.from_browser, to_us = os.pipe()

        def place():  # the browser reads from 3 and writes to 4
            read, write = os.dup(from_us), os.dup(to_us)
            os.dup2(read, 3)
            os.dup2(write, 4)

        self.process = subprocess.Popen(
            [program, "--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run",
             "--disable-background-networking", "--disable-sync", "--disable-component-update", "--mute-audio",
             f"--user-data-dir={self.profile}", "--remote-debugging-pipe", "about:blank"],
            preexec_fn=place, close_fds=False, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL)
        os.close(from_us)
        os.close(to_us)
        self.buffer = b""
        self.number = 0
        self.session = None
        self.events = []
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        self.session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log", "Network"):
            self.call(domain + ".enable")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        os.close(self.to_browser)
        try:
            self.process.wait(20)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
        os.close(self.from_browser)
        shutil.rmtree(self.profile, ignore_errors=True)

    def _receive(self):
        while b"\0" not in self.buffer:
            data = os.read(self.from_browser, 1 << 20)
            if not data:
                raise RuntimeError("the browser has ended")
            self.buffer += data
        message, _, self.buffer = self.buffer.partition(b"\0")
        return json.loads(message)

    def call(self, method, **parameters):
        self.number += 1
        message = {"id": self.number, "method": method, "params": parameters}
        if self.session:
            message["sessionId"] = self.session
        os.write(self.to_browser, json.dumps(message).encode() + b"\0")
        while True:
            answer = self._receive()
            if answer.get("id") == self.number:
                if "error" in answer:
                    raise RuntimeError(f"{method}: {answer['error']['message']}")
                return answer["result"]
            self.events.append(answer)

    def open(self, path):
        """Loads a file and waits until all of it is there."""
        self.events = []
        self.call("Page.navigate", url="file://" + os.path.abspath(path))
        while not any(event.get("method") == "Page.loadEventFired" for event in self.events):
            self.events.append(self._receive())

    def complaints(self):
        """What the browser had to say against the page: errors of its script, things it refused, things it fetched."""
        self.evaluate("0")  # what is under way has arrived by then
        found = []
        for event in self.events:
            method, parameters = event.get("method"), event.get("params", {})
            if method in ("Runtime.exceptionThrown", "Log.entryAdded", "Runtime.consoleAPICalled"):
                found.append(json.dumps(parameters)[:400])
            if method == "Network.requestWillBeSent" and not parameters["request"]["url"].startswith("file:///"):
                found.append("fetched " + parameters["request"]["url"][:200])
        return found

    def evaluate(self, expression):
        result = self.call("Runtime.evaluate", expression=expression, returnByValue=True, awaitPromise=True)
        if "exceptionDetails" in result:
            raise RuntimeError(json.dumps(result["exceptionDetails"])[:400])
        return result["result"].get("value")

    def picture(self, path, scheme, width=1360, height=None):
        """The page as it looks in "light" or "dark"; all of it, or its upper part."""
        self.call("Emulation.setEmulatedMedia", media="screen",
                  features=[{"name": "prefers-color-scheme", "value": scheme}])
        full = height or self.evaluate("document.documentElement.scrollHeight")
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=full, deviceScaleFactor=1, mobile=False)
        data = self.call("Page.captureScreenshot", format="png")["data"]
        with open(path, "wb") as file:
            file.write(base64.b64decode(data))
