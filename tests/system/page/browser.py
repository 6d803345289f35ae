"""A headless Chromium, driven over the WebDriver protocol (W3C) of its own driver."""

import base64
import json
import re
import subprocess
import time
import urllib.error
import urllib.request

TAB, ENTER, SPACE = "\ue004", "\ue007", " "
# Seconds; a machine with other work to do may take some of them for a single step.
PATIENCE = 90
OPTIONS = {
    "args": ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run",
             "--disable-background-networking", "--disable-component-update", "--disable-sync",
             "--disable-default-apps", "--hide-scrollbars", "--window-size=1280,900"],
}
# Calls back once the condition gives something true. It is asked after each change of the document, so
# that nothing that was shown for a moment only is missed, and now and then for what changes without.
WAIT = """
const done = arguments[arguments.length - 1];
const given = %s;
const condition = () => { %s };
let timer = 0;
const ask = () => {
  const value = condition();
  if (value) {
    observer.disconnect();
    clearInterval(timer);
    done(value);
  }
};
const observer = new MutationObserver(ask);
observer.observe(document, {subtree: true, childList: true, characterData: true, attributes: true});
%s
timer = setInterval(ask, 50);
ask();
"""


class WebDriverError(Exception):
    pass


class Browser:
    """Use as a context: its end ends the browser and its driver."""

    def __enter__(self):
        self.driver = subprocess.Popen(["chromedriver", "--port=0"], stdin=subprocess.DEVNULL,
                                       stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        try:
            self.base = f"http://127.0.0.1:{self.read_port()}"
            capabilities = {"browserName": "chrome", "goog:chromeOptions": OPTIONS,
                            "goog:loggingPrefs": {"browser": "ALL"}}
            session = self.ask("POST", "/session", {"capabilities": {"alwaysMatch": capabilities}})
            self.base += f"/session/{session['sessionId']}"
            self.ask("POST", "/timeouts", {"script": PATIENCE * 1000, "pageLoad": PATIENCE * 1000})
        except BaseException:
            self.end_driver()
            raise
        return self

    def __exit__(self, *_):
        try:
            self.ask("DELETE", "")
        finally:
            self.end_driver()

    def read_port(self):
        for line in self.driver.stdout:
            if found := re.search(r"started successfully on port (\d+)", line):
                return int(found[1])
        raise WebDriverError("the driver ended early")

    def end_driver(self):
        self.driver.terminate()
        self.driver.communicate()

    def ask(self, method, path, body=None):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(self.base + path, data, {"Content-Type": "application/json"},
                                         method=method)
        opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
        try:
            with opener.open(request, timeout=2 * PATIENCE) as reply:
                return json.load(reply)["value"]
        except urllib.error.HTTPError as error:
            raise WebDriverError(json.load(error)["value"]["message"]) from None

    def go(self, address):
        self.ask("POST", "/url", {"url": address})

    def run(self, script, *arguments):
        return self.ask("POST", "/execute/sync", {"script": script, "args": arguments})

    def until(self, condition, *arguments, first=""):
        """Waits until the condition, the body of a function, returns something true, and returns it.
        The arguments are in `given`. What comes of the statements `first` is not missed."""
        script = WAIT % (json.dumps(arguments), condition, first)
        try:
            return self.ask("POST", "/execute/async", {"script": script, "args": []})
        except WebDriverError as error:
            text = self.run("return document.body.innerText")
            raise AssertionError(f"never true: {condition} {arguments}: {error}\n{text}") from None

    def until_text(self, selector, text):
        """Waits until an element that is shown contains the text."""
        self.until("return [...document.querySelectorAll(given[0])].some((element) => "
                   "element.checkVisibility() && element.innerText.includes(given[1]))", selector, text)

    def until_none(self, selector):
        self.until("return ![...document.querySelectorAll(given[0])].some((element) => "
                   "element.checkVisibility())", selector)

    def texts(self, selector):
        return self.run("return [...document.querySelectorAll(arguments[0])].map((element) => "
                        "element.innerText.trim())", selector)

    def click(self, selector):
        """Wherever it is: what is shown meanwhile may move it from under a pointer."""
        self.run("document.querySelector(arguments[0]).click()", selector)

    def press(self, *keys):
        """The keys go to whatever has the focus, as from a keyboard."""
        actions = [{"type": kind, "value": key} for key in keys for kind in ("keyDown", "keyUp")]
        self.ask("POST", "/actions", {"actions": [{"type": "key", "id": "keyboard", "actions": actions}]})

    def focused(self):
        """The name of the element with the focus, as a person hears it."""
        return self.run("const focused = document.activeElement; return focused === document.body ? '' : "
                        "focused.getAttribute('aria-label') ?? "
                        "(focused.ariaLabelledByElements?.[0] ?? focused).innerText.trim()")

    def before_each_page(self, script):
        """Runs it before the scripts of each page; returns a function that ends this."""
        added = self.tools("Page.addScriptToEvaluateOnNewDocument", source=script)
        return lambda: self.tools("Page.removeScriptToEvaluateOnNewDocument", **added)

    def tools(self, command, **parameters):
        """The developer tools' protocol."""
        return self.ask("POST", "/goog/cdp/execute", {"cmd": command, "params": parameters})

    def resize(self, width, height):
        self.tools("Emulation.setDeviceMetricsOverride", width=width, height=height,
                   deviceScaleFactor=1, mobile=width < 600)

    def prefer(self, scheme):
        self.tools("Emulation.setEmulatedMedia",
                   features=[{"name": "prefers-color-scheme", "value": scheme}])

    def screenshot(self, path):
        """Of the whole page."""
        self.run("scrollTo(0, 0)")
        image = self.tools("Page.captureScreenshot", captureBeyondViewport=True)
        path.write_bytes(base64.b64decode(image["data"]))

    def console(self):
        """The messages since the last call."""
        return self.ask("POST", "/se/log", {"type": "browser"})

    def until_true(self, condition):
        """Like `until`, of what no page can be asked while it is exchanged for another one."""
        end = time.monotonic() + PATIENCE
        while not (value := condition()):
            if time.monotonic() > end:
                raise AssertionError("never true")
        return value

    def title(self):
        return self.ask("GET", "/title")

    def tab(self):
        return self.ask("GET", "/window")

    def tabs(self):
        return self.ask("GET", "/window/handles")

    def show_tab(self, tab):
        self.ask("POST", "/window", {"handle": tab})

    def close_tab(self):
        self.ask("DELETE", "/window")
