"""The page while its server is gone."""

import signal

from case import PageTest


class Reconnecting(PageTest):
    expects_refusals = True
    disabled = "return [...document.querySelectorAll('#cancel, #scripts button')].every((each) => each.disabled)"
    enabled = "return ![...document.querySelectorAll('#cancel, #scripts button')].some((each) => each.disabled)"

    def test_after_a_restart_the_page_connects_by_itself(self):
        self.begin_connected()
        self.browser.until(self.enabled)
        self.browser.click("#cancel")
        self.browser.until_text("#resting", "rest")
        self.start("Demo.xml")
        self.until_outcome("clean")
        self.program.stop()
        self.browser.until_text("#connection.bad", "Not connected")
        self.browser.until(self.disabled)
        self.browser.until_text("body.stale #status-heading", "Last known status")
        self.browser.until_text("#reason", "Not connected: nothing can be started or cancelled.")
        self.assertEqual(self.browser.run("return document.title"), "Not connected – kel_server")
        self.check_that_nothing_gets_older()
        self.program.start()
        self.browser.until_text("#connection.good", "Connected")
        self.browser.until(self.enabled)
        self.browser.until_none("#resting, #runs li")
        self.start("ClearFaults.xml")
        self.until_outcome("clean")
        self.until_timeline_of_the_server()

    def check_that_nothing_gets_older(self):
        """A day later the times have their day, which the page would see together with the ages."""
        self.browser.run("clockAhead = 24 * 3600 * 1000")
        self.browser.until("return /^\\d{4}-/.test(document.querySelector('#status-age time').innerText)")
        self.assertNotIn(" d ", self.browser.texts("#status-age .age")[0])

    def until_timeline_of_the_server(self):
        """Texts and times: what the former server numbered as this one does has gone."""
        expected = [[entry["time"], entry["text"]] for entry in reversed(self.program.call("status.history"))]
        self.browser.until("const shown = [...document.querySelectorAll('#timeline li')].map((item) => "
                           "[item.firstChild.dateTime, item.lastChild.innerText]); "
                           "return JSON.stringify(shown) === JSON.stringify(given[0])", expected)

    def test_details_that_were_asked_for_when_the_connection_ended_come_with_the_next_one(self):
        self.begin_connected()
        self.start("Demo.xml")
        self.until_outcome("clean")
        self.browser.run("window.withheld = 'runs.get'")
        self.browser.click("#runs > li:first-child summary")
        self.browser.until("return window.withheld === null")
        self.browser.run("sockets.at(-1).close()")
        self.browser.until_text("#runs .detail", "Otx_ReadIdent")

    def test_a_server_that_goes_during_a_run_is_told_of(self):
        self.begin_connected(prepare=lambda program: program.write_slow_script())
        self.start("Slow.xml")
        self.browser.until_text("#under-way", "Otx_Slow")
        self.program.kill()
        self.browser.until_text("#problem", "The connection was lost before the server answered the start of Slow.xml")
        self.browser.until_text("#connection", "Not connected")
        self.browser.until_text("#under-way-hint", "Not known while the server is not connected.")
        self.browser.until_none("#under-way li")

    def test_a_server_that_says_nothing_more_counts_as_gone(self):
        impatience = "{ const later = setTimeout; setTimeout = (run, wait) => later(run, Math.min(wait, 5000)); }"
        self.addCleanup(self.browser.before_each_page(impatience))
        self.begin_connected()
        self.program.signal(signal.SIGSTOP)
        self.addCleanup(self.program.signal, signal.SIGCONT)
        self.refresh()
        self.browser.until_text("#connection", "Not connected (the server does not answer)")
        self.program.signal(signal.SIGCONT)
        self.browser.until_text("#connection", "Connected")
