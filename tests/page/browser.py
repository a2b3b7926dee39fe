"""Drives Chromium without a window through chromium-driver and the WebDriver protocol."""
import base64
import json
import subprocess
import tempfile
import urllib.error
import urllib.request

KEYS = {"Left": "\ue012", "Up": "\ue013", "Right": "\ue014", "Down": "\ue015", "Home": "\ue011",
        "End": "\ue010", "Enter": "\ue007", "Escape": "\ue00c", "Tab": "\ue004"}
ARGUMENTS = ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
             "--disable-background-networking", "--disable-component-update", "--disable-sync",
             "--hide-scrollbars"]


class Browser:
    def __init__(self):
        self.profile = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        self.driver = subprocess.Popen(["chromedriver", "--port=0"], stdout=subprocess.PIPE, text=True)
        for line in self.driver.stdout:
            if "started successfully on port" in line:
                self.url = "http://127.0.0.1:" + line.split()[-1].rstrip(".")
                break
        else:
            raise RuntimeError("chromedriver does not start")
        options = {"args": ARGUMENTS + ["--user-data-dir=" + self.profile.name]}
        session = self.call("POST", "/session", {"capabilities": {"alwaysMatch": {
            "browserName": "chrome", "goog:chromeOptions": options,
            "goog:loggingPrefs": {"browser": "ALL"}}}})
        self.url += "/session/" + session["sessionId"]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        try:
            self.call("DELETE", "")
        finally:
            self.driver.terminate()
            self.driver.wait()
            self.profile.cleanup()

    def call(self, method, path, body=None):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(self.url + path, data, {"Content-Type": "application/json"},
                                         method=method)
        try:
            with urllib.request.urlopen(request, timeout=120) as answer:
                return json.load(answer)["value"]
        except urllib.error.HTTPError as error:
            raise RuntimeError(json.load(error)["value"]["message"]) from None

    def open(self, path, place=""):
        self.call("POST", "/url", {"url": "about:blank"})
        self.call("POST", "/url", {"url": f"file://{path}{place}"})

    def devtools(self, command, **parameters):
        return self.call("POST", "/goog/cdp/execute", {"cmd": command, "params": parameters})

    def window(self, width, height, theme="light", scale=1):
        self.devtools("Emulation.setDeviceMetricsOverride", width=width, height=height,
                      deviceScaleFactor=scale, mobile=False)
        self.devtools("Emulation.setEmulatedMedia", features=[
            {"name": "prefers-color-scheme", "value": theme}])

    def script(self, text, *arguments):
        return self.call("POST", "/execute/sync", {"script": text, "args": list(arguments)})

    def script_later(self, text, *arguments):
        """Runs a script that passes its result to its last argument, a function."""
        return self.call("POST", "/execute/async", {"script": text, "args": list(arguments)})

    def keys(self, *names):
        """Presses keys, which are names or characters, one after the other."""
        strokes = [{"type": kind, "value": KEYS.get(name, name)}
                   for name in names for kind in ("keyDown", "keyUp")]
        self.call("POST", "/actions", {"actions": [
            {"type": "key", "id": "keyboard", "actions": strokes}]})

    def hold(self, key, down):
        """Presses a key and keeps it down, or releases it."""
        self.call("POST", "/actions", {"actions": [{"type": "key", "id": "keyboard", "actions": [
            {"type": "keyDown" if down else "keyUp", "value": KEYS.get(key, key)}]}]})

    def complaints(self):
        """The page's messages on the console since the last call."""
        return [entry["message"] for entry in self.call("POST", "/se/log", {"type": "browser"})]

    def until(self, expression, seconds=10):
        """Whether a script's expression becomes true in that time; it is tried before each drawing of the page."""
        return self.script_later("""const [end, done] = [performance.now() + arguments[0] * 1000, arguments[1]];
            const look = () => Boolean(""" + expression + """);
            (function next() {
              if (look()) done(true);
              else if (performance.now() > end) done(false);
              else requestAnimationFrame(next);
            })()""", seconds)

    def settle(self):
        """Waits until the pictures in view are decoded and drawn."""
        self.script_later("""const done = arguments[0];
            const drawn = () => new Promise(resolve => requestAnimationFrame(() => requestAnimationFrame(resolve)));
            const decoded = () => [...document.images].filter(i => i.src).map(i => i.decode().catch(() => {}));
            drawn().then(() => Promise.all(decoded())).then(drawn).then(done)""")

    def picture(self, path):
        self.settle()
        with open(path, "wb") as file:
            file.write(base64.b64decode(self.call("GET", "/screenshot")))
