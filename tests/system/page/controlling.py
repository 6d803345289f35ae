"""Whoever starts and cancels."""

from browser import ENTER, SPACE, TAB
from case import PageTest, start_button


class Controlling(PageTest):
    def begin_slow(self):
        self.begin_connected(prepare=lambda program: program.write_slow_script())

    def test_a_cancel_ends_the_run_before_its_next_action_and_the_buttons_rest(self):
        self.begin_slow()
        self.start("Slow.xml")
        self.browser.until_text("#under-way", "Runs: Slow.xml for ")
        self.browser.until_text("#under-way", "Waiting for: Procedure Otx_Slow for ")
        self.until_outcome("▶ running")
        self.browser.click("#cancel")
        self.until_outcome("■ cancelled")
        self.browser.until_text("#resting", "the buttons F1 and F2 rest until the program is started again")
        self.browser.until_text("#under-way-hint", "Nothing runs")
        self.assertIn("Running cancel sequence", self.timeline())
        self.assertNotIn("Running execute action: Otx_ReadIdent", self.timeline())
        self.assertIn("■ cancelled Procedure Otx_Slow", self.details())
        self.browser.go(self.program.address)
        self.browser.until_text("#resting", "Cancelled at ")

    def until_run(self, name):
        """Whatever becomes of it: a cancel closes the project a moment after the next run may begin."""
        self.browser.until_text("#runs > li:first-child > .run strong", name)

    def test_a_start_behind_another_one_waits_visibly_and_a_double_click_starts_once(self):
        self.begin_slow()
        self.start("Slow.xml")
        self.browser.until_text("#under-way", "Waiting for: Procedure Otx_Slow")
        self.start("Slow.xml")
        self.start("Demo.xml")
        self.browser.until_text("#under-way", "Waits for its turn: Demo.xml for ")
        self.assertEqual(len(self.browser.texts("#under-way li")), 3)
        self.browser.click("#cancel")
        self.until_run("Demo.xml")
        self.assertEqual(self.browser.texts("#runs > li > .run strong"), ["Demo.xml", "Slow.xml"])

    def test_a_start_behind_one_of_the_machine_itself_waits_visibly(self):
        self.begin_connected(prepare=lambda program: (
            program.write_slow_script(),
            program.edit("KelServer.xml", "</KelServer>",
                         "<StartSequence>Slow.xml</StartSequence></KelServer>")))
        self.browser.until_text("#under-way", "Waiting for: Procedure Otx_Slow")
        self.start("Demo.xml")
        self.browser.until_text("#under-way", "Waits for its turn: Demo.xml")
        self.browser.click("#cancel")
        self.until_run("Demo.xml")

    def test_a_start_that_is_refused_says_why(self):
        self.begin_connected(prepare=lambda program: (
            program.write_slow_script(), [program.write_script(f"N{each}.xml", "") for each in range(17)]))
        self.start("Slow.xml")
        self.browser.until_text("#under-way", "Runs: Slow.xml")
        for number in range(17):
            self.start(f"N{number}.xml")
        self.browser.until_text("#problem", "The server refused the start of N16.xml: too many sequences wait.")
        self.browser.click("#problem-close")
        self.browser.until_none("#problem")

    def test_a_cancel_that_the_server_does_not_take_says_why(self):
        self.begin_connected()
        self.browser.run("const {call} = Connection.prototype; Connection.prototype.call = function(...given) { "
                         "return given[0] === 'sequence.cancel' ? {handled: false} : call.apply(this, given); }")
        self.browser.click("#cancel")
        self.browser.until_text("#problem", "The server refused the cancel: there is none while the program "
                                            "starts or stops.")
        self.start("Demo.xml")
        self.browser.until_none("#problem")

    def test_a_script_that_comes_back_to_the_folder_is_still_requested(self):
        self.begin_slow()
        button = start_button("Slow.xml")
        self.start("Slow.xml")
        self.browser.until_text("#under-way", "Waiting for: Procedure Otx_Slow")
        aside = self.program.script("Slow.xml").rename(self.program.folder / "Slow.xml")
        self.browser.until_none(button)
        aside.rename(self.program.script("Slow.xml"))
        self.browser.until_text(button, "Requested")
        self.assertEqual(self.browser.run(
            "return document.querySelector(arguments[0]).ariaDisabled", button), "true")
        self.browser.click("#cancel")
        self.browser.until_text(button, "Start")
        self.start("Slow.xml")
        self.browser.until_text(button, "Requested")
        self.browser.until_text("#under-way", "Waiting for: Procedure Otx_Slow")

    def test_a_script_that_leaves_the_folder_takes_the_focus_from_no_other(self):
        self.begin_connected()
        self.browser.run("document.querySelector(arguments[0]).focus()", start_button("Demo.xml"))
        self.program.script("ButtonDemo.xml").unlink()
        self.browser.until_none(start_button("ButtonDemo.xml"))
        self.assertEqual(self.browser.focused(), "Start Demo.xml")

    def test_the_progress_of_a_flash_and_of_a_quick_test_is_shown_until_they_end(self):
        self.begin_connected(prepare=lambda program: (
            program.add_flash_data(),
            program.slow_the_vehicle_down(30)))
        half_way = ("const bar = document.querySelector('#jobs progress'); "
                    "return bar && bar.value > 0 && bar.value < bar.max && bar.labels[0].innerText")
        self.assertRegex(self.start_until("Flash.xml", half_way), r"^Flash – ENGINE\s+[\d,]+ of 100,000 bytes, \d+ %$")
        self.browser.until_none("#jobs li")
        self.assertRegex(self.start_until("ButtonDemo.xml", half_way), r"^Quick test – \w+\s+\d of 3 control units, \d+ %$")
        self.browser.until_none("#jobs li")

    def start_until(self, name, condition):
        return self.browser.until(condition, start_button(name), first="document.querySelector(given[0]).click();")

    def test_the_keyboard_alone_starts_cancels_and_opens_details(self):
        self.begin_slow()
        self.tab_to("Start Slow.xml")
        self.browser.press(ENTER)
        self.browser.until_text("#under-way", "Waiting for: Procedure Otx_Slow")
        self.assertEqual(self.browser.focused(), "Start Slow.xml")
        self.browser.run("document.activeElement.blur()")
        self.tab_to("■ Cancel")
        self.browser.press(SPACE)
        self.until_outcome("cancelled")
        self.assertEqual(self.browser.focused(), "■ Cancel")
        self.tab_to("Details of Slow.xml")
        self.browser.press(ENTER)
        self.browser.until_text("#runs .detail", "Otx_Slow")
        self.tab_to("Status texts")

    def tab_to(self, name):
        """Each stop on the way shows that it has the focus."""
        passed = []
        while not self.browser.focused().startswith(name):
            self.browser.press(TAB)
            passed.append(self.browser.focused())
            self.assertLess(len(passed), 30, passed)
            self.assertTrue(self.browser.run(
                "return document.activeElement === document.body || "
                "parseFloat(getComputedStyle(document.activeElement).outlineWidth) >= 2"), passed[-1])
