"""Whoever only looks at the page."""

from case import PageTest
from program import PROJECT, SELECT

AN_HOUR_AHEAD = "{ const now = Date.now; Date.now = () => now() + 3600000; }"
# In `answered`, before the page has them.
COUNT_ANSWERS = """{
  const ask = fetch;
  window.answered = 0;
  window.fetch = async (...given) => {
    const answer = await ask(...given);
    window.answered++;
    return answer;
  };
}"""
NO_REFRESH_BY_TIME = """{
  const often = setInterval;
  setInterval = (run, wait) => wait < 5000 ? often(run, wait) : 0;
}"""
MARKUP = "<img src=x onerror=alert(1)>"
MARKUP_IN_XML = "&lt;img src=x onerror=alert(1)&gt;"


class Watching(PageTest):
    def test_a_start_is_watched_to_its_end(self):
        self.begin_connected()
        self.browser.until_text("#status", "Idle")
        self.browser.until_text("#no-runs", "Nothing has run")
        self.browser.until_text("#project", "none selected")
        self.start("Demo.xml")
        self.until_outcome("✓ clean")
        self.browser.until_text("#status", "Idle")
        self.browser.until_text("#status-age", "for ")
        self.browser.until("const [present, newest] = ['#status-age', '#timeline'].map((place) => "
                           "document.querySelector(`${place} time`).dateTime); return present === newest")
        self.browser.until_text("#project", PROJECT)
        self.browser.until_text("#vehicle-information", "VIT_A")
        self.browser.until_text("#interface", "Simulation")
        self.browser.until_text("#last-run", "Last run: ✓ clean Demo.xml")
        self.assertEqual(self.timeline()[-2:], ["Running sequence: Demo.xml", "Idle"])
        self.assertIn("Running execute action: Otx_ReadIdent", self.timeline())
        self.assertEqual(self.timeline()[0], "Idle")
        self.assertEqual(self.browser.run("return document.title"), "Idle – kel_server")
        self.browser.until_none("#problem, #resting, #login, #no-runs")
        self.browser.until_text("#under-way-hint", "Nothing runs")
        self.browser.until("return document.querySelector('#clients-heading').innerText === "
                           "`Connected clients (${document.querySelectorAll('#clients li').length})`")
        self.assertRegex(self.browser.texts("#clients")[0], r"127\.0\.0\.1:\d+")
        self.assertRegex(self.browser.texts("#version")[0], r"\d+\.\d+")

    def test_the_age_of_the_status_counts_on_by_itself(self):
        self.begin_connected()
        self.start("ClearFaults.xml")
        self.until_outcome("clean")
        first = self.browser.texts("#status-age .age")[0]
        self.browser.until("return document.querySelector('#status-age .age').innerText !== given[0]", first)

    def test_the_ages_are_those_of_the_servers_clock(self):
        self.addCleanup(self.browser.before_each_page(AN_HOUR_AHEAD))
        self.begin_connected()
        self.start("ClearFaults.xml")
        self.until_outcome("clean")
        self.browser.until("return /^\\d+ s$/.test(document.querySelector('#status-age .age').innerText)")

    def test_a_clock_that_is_set_makes_the_ages_wrong_for_minutes_only(self):
        self.addCleanup(self.browser.before_each_page(COUNT_ANSWERS))
        self.begin_connected()
        self.browser.until("return answered > 0")
        self.browser.run(AN_HOUR_AHEAD)
        self.browser.until_text("#status-age .age", "1 h ")
        self.browser.run("const now = performance.now.bind(performance); performance.now = () => now() + 600000")
        self.browser.until("return !document.querySelector('#status-age .age').innerText.includes(' h ')")

    def test_yesterdays_times_get_their_day(self):
        self.begin_connected()
        self.start("ClearFaults.xml")
        self.until_outcome("clean")
        self.details()
        self.browser.run("setServerTime = () => {}; clockAhead = 24 * 3600 * 1000")
        self.browser.until("const times = [...document.querySelectorAll('time')]; return times.length > 5 && "
                           "times.every((time) => /^\\d{4}-\\d\\d-\\d\\d /.test(time.innerText))")
        self.assertRegex(self.browser.texts("#runs .detail .hint")[0], r"began \d{4}-.*, ended \d{4}-")

    def test_a_hidden_page_asks_for_nothing_and_keeps_no_more_than_a_shown_one(self):
        self.addCleanup(self.browser.before_each_page(NO_REFRESH_BY_TIME))
        self.begin_connected(prepare=lambda program: (
            program.add_flash_data(), program.write_script("Empty.xml", "")))
        self.browser.run("Object.defineProperty(document, 'hidden', {value: true, configurable: true}); "
                         "called.length = 0")
        for name in ["Flash.xml"] * 2 + ["Empty.xml"] * 100:
            self.program.call("sequence.start", name=name)
        newest = self.program.call("runs.list")[-1]
        self.browser.until("return document.querySelector('#runs > li')?.dataset.key === given[0]",
                           f"{newest['id']} {newest['begin']}")
        self.assertEqual(self.browser.texts("#more-runs"), ["Show all 100 runs"])
        # What had been asked for before may have come.
        self.assertLessEqual(self.browser.run("return document.querySelectorAll('#jobs li').length"), 1)
        self.assertLessEqual(self.browser.run("return called").count("jobs.list"), 1)
        self.browser.run("delete document.hidden")
        self.refresh()
        self.browser.until_text("#project", PROJECT)
        self.browser.until_none("#jobs li")

    def test_an_error_of_a_refresh_is_told_and_the_next_one_comes(self):
        self.begin_connected()
        self.browser.run("const former = showVehicle; "
                         "showVehicle = () => { showVehicle = former; throw new Error('on purpose'); }")
        self.start("Demo.xml")
        self.browser.until_text("#project", PROJECT)
        message, = self.browser.console()
        self.assertIn("on purpose", message["message"])

    def test_a_run_shows_its_report_and_on_demand_its_jobs(self):
        self.begin_connected()
        self.start("Demo.xml")
        self.until_outcome("clean")
        details = self.details()
        self.assertIn("✓ passed Quick test VIT_A", details)
        self.assertIn("3 of 3 control units read", details)
        self.assertIn("✓ passed Procedure Otx_ReadIdent – Identification read", details)
        self.assertIn("Asked for by 127.0.0.1:", details)
        self.browser.click("#runs .reports a")
        self.check_report("Initial")

    def test_an_exception_makes_the_outcome_failed_and_a_failed_procedure_findings(self):
        self.begin_connected(prepare=lambda program: (
            program.write_script("Fail.xml", "<SelectAction project='Nowhere'/>"),
            program.write_script("Findings.xml", SELECT + "<ExecuteAction command='Otx_Fail'/>")))
        self.start("Findings.xml")
        self.until_outcome("! findings")
        self.assertIn("✕ failed Procedure Otx_Fail", self.details())
        self.start("Fail.xml")
        self.until_outcome("✕ failed")
        self.assertIn("Exceptions\n", self.details())
        self.assertIn("Nowhere", self.browser.texts("#runs .exceptions")[0])
        self.browser.until_text("#last-run", "Last run: ✕ failed Fail.xml")
        self.browser.until_text("#timeline .bad", "Exception caught: ")

    def test_the_latest_200_status_texts_are_kept(self):
        actions = 150 * "<SelectAction project=''/>" + "<SelectAction project='Nowhere'/>"
        self.begin_connected(prepare=lambda program: program.write_script("Many.xml", actions))
        self.start("Many.xml")
        self.until_outcome("failed")
        self.browser.until_text("#timeline", "Selecting project Nowhere")
        live = self.timeline()
        self.assertEqual(len(live), 200)
        self.browser.go(self.program.address)
        self.browser.until_text("#timeline", "Selecting project Nowhere")
        self.assertEqual(self.timeline(), live)

    def test_many_runs_are_shown_on_demand(self):
        self.begin_connected(prepare=lambda program: program.write_script("Empty.xml", ""))
        for _ in range(12):
            self.program.call("sequence.start", name="Empty.xml")
        self.browser.until_text("#more-runs", "Show all 12 runs")
        self.browser.click("#more-runs")
        self.browser.until("return document.querySelectorAll('#runs > li').length === 12")
        self.browser.until_text("#more-runs", "Show fewer")
        self.browser.click("#more-runs")
        self.browser.until("return document.querySelectorAll('#runs > li').length === 10")

    def test_a_text_with_markup_is_shown_as_text(self):
        self.begin_connected(prepare=lambda program: program.write_script(
            f"{MARKUP}.xml", f"<SelectAction project='{MARKUP_IN_XML}'/>"))
        self.browser.until_text("#scripts .name", f"{MARKUP}.xml")
        self.browser.run("[...document.querySelectorAll('#scripts li')].find((item) => "
                         "item.innerText.includes('img')).querySelector('button').click()")
        self.until_outcome("failed")
        self.browser.until_text("#runs .run", f"{MARKUP}.xml")
        self.assertIn(f"Selecting project {MARKUP}", self.timeline())
        self.assertIn(MARKUP, self.details())
        self.assertEqual(self.browser.run("return document.images.length"), 0)
        policy = self.program.policy()
        self.assertRegex(policy, r"script-src ('sha256-[^']{44}'[ ;])+")
        self.assertNotIn("unsafe", policy)
