"""The page on another machine than the server, which therefore wants a token."""

import hashlib
import os
import unittest

from browser import ENTER
from case import PageTest, start_button

# Of this machine, and not the loopback's; empty where there is none.
OTHER_ADDRESS = os.environ.get("KEL_PAGE_TEST_ADDRESS", "")
TOKENS = {"watch": "a token to watch", "control": "a token to control"}


def line_of(role):
    """Of the file with tokens."""
    return f"{role} {role}er {hashlib.sha256(TOKENS[role].encode()).hexdigest()}"


@unittest.skipUnless(OTHER_ADDRESS, "this machine gives no network of its own")
class LoggingIn(PageTest):
    expects_refusals = True

    def setUp(self):
        lines = [line_of(role) for role in TOKENS]
        self.begin(host=OTHER_ADDRESS, prepare=lambda program: program.write_tokens(lines, TOKENS["watch"]))
        self.browser.until_text("#login", "Token")

    def log_in(self, token):
        self.browser.until("return document.activeElement.id === 'token'")
        self.browser.press(*token, ENTER)

    def kept(self):
        return self.browser.run("return [sessionStorage.length, localStorage.length, document.cookie]")

    def test_nothing_is_shown_before_a_token_that_the_server_knows(self):
        self.assertEqual(self.browser.texts("#connection"), ["Not logged in"])
        self.browser.until_none("#content")
        self.log_in("no such token")
        self.browser.until_text("#login-problem", "Not logged in: there is no such token.")
        self.browser.until_none("#content")
        self.assertEqual(self.kept(), [0, 0, ""])

    def test_a_token_to_watch_shows_everything_and_neither_starts_nor_cancels(self):
        self.log_in(TOKENS["watch"])
        self.browser.until_text("#connection", "Connected")
        self.browser.until_none("#login")
        self.browser.until_text("#reason", "This token may watch: it can neither start nor cancel.")
        self.browser.until_text("#scripts", "Demo.xml")
        for selector in ("#cancel", start_button("Demo.xml")):
            self.assertTrue(self.browser.run("return document.querySelector(arguments[0]).disabled", selector))
        self.browser.until_text("#clients", "watcher ")

    def test_a_token_to_control_starts_and_opens_reports_and_serves_after_a_restart(self):
        self.log_in(TOKENS["control"])
        self.browser.until_text("#scripts", "Demo.xml")
        self.start("Demo.xml")
        self.until_outcome("clean")
        self.browser.click("#runs .reports a")
        self.check_report("Initial")
        self.assertEqual(self.kept(), [1, 0, ""])
        self.program.stop()
        self.browser.until_text("#connection", "Not connected")
        self.program.start()
        self.browser.until_text("#connection", "Connected")
        self.browser.until_none("#login")
        self.start("Demo.xml")
        self.until_outcome("clean")

    def test_logging_out_forgets_the_token(self):
        self.log_in(TOKENS["control"])
        self.browser.until_text("#scripts", "Demo.xml")
        self.browser.click("#logout")
        self.browser.until_text("#login", "Token")
        self.browser.until_none("#content, #logout")
        self.assertEqual(self.kept(), [0, 0, ""])
        self.browser.until_text("#connection", "Not logged in")
        self.assertEqual(self.browser.run("return document.title"), "kel_server")

    def test_logging_out_before_the_page_is_complete_connects_once(self):
        self.browser.run("window.withheld = 'status.history'")
        self.log_in(TOKENS["control"])
        self.browser.until("return window.withheld === null")
        self.browser.until_text("#logout", "Log out")
        self.browser.click("#logout")
        self.browser.until_text("#connection", "Not logged in")
        self.assertEqual(self.browser.run("return sockets.length"), 2)

    def test_a_token_that_the_server_knows_no_more_leads_back_to_the_login(self):
        self.log_in(TOKENS["control"])
        self.browser.until_text("#connection", "Connected")
        self.program.stop()
        self.browser.until_text("#connection", "Not connected")
        (self.program.config / "access.token").write_text(line_of("watch") + "\n")
        self.program.start()
        self.browser.until_text("#login-problem", "Not logged in: there is no such token.")
        self.browser.until_none("#content")
        self.browser.until_text("#connection", "Not logged in")
        self.assertEqual(self.browser.run("return document.title"), "kel_server")
