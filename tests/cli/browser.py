"""A headless Chromium for tests, through the WebDriver protocol."""

import base64
import json
import os
import re
import shutil
import subprocess
import tempfile
import urllib.error
import urllib.request

DRIVER = shutil.which("chromedriver")


class Browser:
    """One browser with a profile of its own; `with Browser() as browser:` ends it."""

    def __enter__(self):
        self._profile = tempfile.TemporaryDirectory(prefix="tavik-browser-")
        self._driver = subprocess.Popen([DRIVER, "--port=0"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        for line in self._driver.stdout:
            if found := re.search(r"started successfully on port (\d+)", line):
                self._url = f"http://127.0.0.1:{found[1]}"
                break
        arguments = ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run",
                     "--disable-background-networking", "--hide-scrollbars", f"--user-data-dir={self._profile.name}"]
        options = {"args": arguments, "binary": shutil.which("chromium")}
        capabilities = {"browserName": "chrome", "goog:chromeOptions": options,
                        "goog:loggingPrefs": {"browser": "ALL", "performance": "ALL"}}
        session = self._call("POST", "/session", {"capabilities": {"alwaysMatch": capabilities}})
        self._url += "/session/" + session["sessionId"]
        return self

    def __exit__(self, *_):
        try:
            self._call("DELETE", "")
        finally:
            self._driver.terminate()
            self._driver.wait()
            self._driver.stdout.close()
            self._profile.cleanup()

    def _call(self, method, path, body=None):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(self._url + path, data, {"Content-Type": "application/json"}, method=method)
        try:
            with urllib.request.build_opener(urllib.request.ProxyHandler({})).open(request, timeout=120) as answer:
                return json.load(answer)["value"]
        except urllib.error.HTTPError as error:
            raise RuntimeError(json.load(error)["value"]["message"]) from None

    def devtools(self, command, **parameters):
        return self._call("POST", "/goog/cdp/execute", {"cmd": command, "params": parameters})

    def open(self, path, width=1100, height=900, scheme="light", scripts=True):
        self.devtools("Emulation.setScriptExecutionDisabled", value=not scripts)
        self.emulate(width, height, scheme)
        self.visit("file://" + os.fspath(path))

    def emulate(self, width, height, scheme):
        self.devtools("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=width < 600)
        features = {"prefers-color-scheme": scheme, "prefers-reduced-motion": "reduce"}  # no pictures halfway through a transition
        self.devtools("Emulation.setEmulatedMedia", features=[{"name": name, "value": value} for name, value in features.items()])

    def visit(self, url):
        self._call("POST", "/url", {"url": url})

    def run(self, script, *arguments):
        """The value of a function's body."""
        return self._call("POST", "/execute/sync", {"script": script, "args": arguments})

    def messages(self):
        """What the console and the page's policy said since the last call."""
        return [entry["message"] for entry in self._call("POST", "/se/log", {"type": "browser"})]

    def requests(self):
        """What was fetched since the last call."""
        entries = [json.loads(entry["message"])["message"] for entry in self._call("POST", "/se/log", {"type": "performance"})]
        return [entry["params"]["request"]["url"] for entry in entries if entry["method"] == "Network.requestWillBeSent"]

    def screenshot(self, whole=True):
        """The whole page as a PNG, or the part of it that is visible."""
        return base64.b64decode(self.devtools("Page.captureScreenshot", captureBeyondViewport=whole)["data"])

    def pdf(self):
        return base64.b64decode(self._call("POST", "/print", {}))
