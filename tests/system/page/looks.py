"""How the page looks on a screen and on a phone, by day and by night."""

from case import PageTest
from program import SELECT, given

# Texts with less contrast than 4.5 to 1 (WCAG 2.1, 1.4.3).
POOR_CONTRAST = """
const parts = (colour) => colour.match(/[\\d.]+/g).map(Number);
const luminance = (colour) => parts(colour).slice(0, 3).map((part) => part / 255)
  .map((part) => part <= 0.03928 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4)
  .reduce((sum, part, at) => sum + part * [0.2126, 0.7152, 0.0722][at], 0);
const ground = (element) => {
  const colour = getComputedStyle(element).backgroundColor;
  return (parts(colour)[3] ?? 1) === 0 && element.parentElement ? ground(element.parentElement) : colour;
};
const ratio = (element) => {
  const [low, high] = [getComputedStyle(element).color, ground(element)].map(luminance).sort((a, b) => a - b);
  return (high + 0.05) / (low + 0.05);
};
const hasText = (element) => [...element.childNodes].some((node) => node.nodeType === 3 && node.data.trim());
return [...document.body.querySelectorAll("*")]
  .filter((element) => element.checkVisibility() && hasText(element) && ratio(element) < 4.5)
  .map((element) => `${element.outerHTML.slice(0, 80)}: ${ratio(element)}`);
"""


class Looks(PageTest):
    def test_it_fits_and_has_contrast_on_a_screen_and_on_a_phone_by_day_and_by_night(self):
        self.begin_connected(prepare=lambda program: (
            program.write_slow_script(), program.add_flash_data(),
            program.write_script("Findings.xml", SELECT + "<ExecuteAction command='Otx_Fail'/>"),
            program.write_script("Fail.xml", "<SelectAction project='Nowhere'/>")))
        self.fill()
        for width in (1280, 390):
            for scheme in ("light", "dark"):
                with self.subTest(f"{width} {scheme}"):
                    self.check(width, scheme)

    def fill(self):
        """With every outcome, everything under way and every notice."""
        for name, outcome in (("Demo.xml", "clean"), ("Flash.xml", "clean"), ("Findings.xml", "findings")):
            self.start(name)
            self.until_outcome_of(name, outcome)
        self.start("Slow.xml")
        self.browser.until_text("#under-way", "Otx_Slow")
        self.browser.click("#cancel")
        self.until_outcome("cancelled")
        self.start("Fail.xml")
        self.until_outcome("failed")
        self.details()
        self.start("Slow.xml")
        self.start("Demo.xml")
        self.browser.until_text("#under-way", "Otx_Slow")
        self.browser.until_text("#under-way", "Waits for its turn: Demo.xml")

    def until_outcome_of(self, name, outcome):
        self.browser.until("const run = document.querySelector('#runs > li .run'); "
                           "return run && given.every((text) => run.innerText.includes(text))", name, outcome)

    def check(self, width, scheme):
        self.browser.resize(width, 900)
        self.browser.prefer(scheme)
        pictures = given("SCREENSHOTS")
        pictures.mkdir(parents=True, exist_ok=True)
        self.browser.screenshot(pictures / f"{width}-{scheme}.png")
        self.assertEqual(self.browser.run(POOR_CONTRAST), [])
        self.assertLessEqual(self.browser.run("return document.documentElement.scrollWidth"), width)
        ground = self.browser.run("return getComputedStyle(document.body).backgroundColor")
        self.assertEqual(ground, {"light": "rgb(243, 245, 247)", "dark": "rgb(18, 23, 28)"}[scheme])
