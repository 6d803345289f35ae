"""What the tests of the page have in common."""

import unittest

from browser import Browser
from program import Program

# What the browser itself writes of an attempt to connect while nobody listens.
NOBODY_LISTENS = "net::ERR_CONNECTION_REFUSED"

# The page does at once what it would put off a little, but is as patient as ever.
SHORT_PAUSES = """{
  const later = setTimeout;
  setTimeout = (run, wait) => later(run, wait < 5000 ? wait / 10 : wait);
}"""

# Keeps the page's WebSockets, in `sockets`, and the methods that it calls, in `called`. Does not send the
# next call of the method `withheld`.
SOCKETS = """{
  window.sockets = [];
  window.called = [];
  window.WebSocket = class extends WebSocket {
    constructor(...given) {
      super(...given);
      sockets.push(this);
    }
    send(text) {
      const {method} = JSON.parse(text);
      called.push(method);
      if (method === window.withheld) {
        window.withheld = null;
      } else {
        super.send(text);
      }
    }
  };
}"""


def start_button(name):
    return f'[aria-label="Start {name}"]'


class PageTest(unittest.TestCase):
    """One browser for the tests of a class; each has a program of its own."""

    expects_refusals = False

    @classmethod
    def setUpClass(cls):
        cls.browser = cls.enterClassContext(Browser())
        cls.browser.before_each_page(SHORT_PAUSES)
        cls.browser.before_each_page(SOCKETS)

    def begin(self, host="127.0.0.1", prepare=lambda program: None):
        self.program = Program(host)
        prepare(self.program)
        self.enterContext(self.program)
        self.browser.resize(1280, 900)
        self.browser.go(self.program.address)

    def tearDown(self):
        messages = self.browser.console()
        # The page would miss the program, which ends now.
        self.browser.go("about:blank")
        for message in messages:
            if not (self.expects_refusals and NOBODY_LISTENS in message["message"]):
                self.fail(f"on the console: {message}")

    def begin_connected(self, **arguments):
        self.begin(**arguments)
        self.browser.until_text("#connection", "Connected")
        self.browser.until_text("#scripts", "Demo.xml")

    def start(self, name):
        self.browser.click(start_button(name))

    def refresh(self):
        """At once, as when somebody comes back to the page."""
        self.browser.run("document.dispatchEvent(new Event('visibilitychange'))")

    def until_outcome(self, text):
        """The newest run has this outcome."""
        self.browser.until_text("#runs > li:first-child > .run .badge", text)

    def details(self):
        """Of the newest run."""
        self.browser.click("#runs > li:first-child summary")
        self.browser.until_text("#runs > li:first-child .detail", "Status texts")
        return self.browser.texts("#runs > li:first-child .detail")[0]

    def timeline(self):
        return self.browser.texts("#timeline li span")

    def check_report(self, title):
        """It opens in a tab of its own, with its style."""
        page = self.browser.tab()
        others = self.browser.until_true(lambda: [tab for tab in self.browser.tabs() if tab != page])
        self.browser.show_tab(others[0])
        self.browser.until_true(lambda: self.browser.title().startswith(title))
        self.browser.until_text("h1", title)
        self.assertEqual(self.browser.run("return getComputedStyle(document.body).marginTop"), "0px")
        self.assertIsNone(self.browser.run("return window.opener"))
        self.browser.close_tab()
        self.browser.show_tab(page)
