"""What the tests of kelctl's checks share: scripts, findings, and a configuration of one's own."""

import pathlib
import re
import shutil
import tempfile
import unittest

from kelctl_program import DONE, EXAMPLES, FINDINGS, FLASH_DATA, kelctl

SELECT = '<SelectAction project="Car_DEMO0000000042" vehicleInformation="VIT_A"/>'


def script(*lines):
    """The first line has the number 2."""
    return "\n".join(["<KelServerScript>", *lines, "</KelServerScript>"])


def execute(command="Otx_ReadIdent", more=""):
    return f'<ExecuteAction command="{command}"{more}/>'


def findings_of(result):
    """(rule, level, file, line, column) of each finding, and all texts."""
    run, = result.json()["runs"]
    described = {rule["id"] for rule in run["tool"]["driver"]["rules"]}
    places = []
    for each in run["results"]:
        place = each["locations"][0]["physicalLocation"]
        assert each["ruleId"] in described, each["ruleId"]
        places.append((each["ruleId"], each["level"], place["artifactLocation"]["uri"],
                       place["region"]["startLine"], place["region"]["startColumn"]))
    return places, "\n".join(each["message"]["text"] for each in run["results"])


class InAConfiguration(unittest.TestCase):
    """In a folder whose "config" is the example with its flash data; that is the current one, too."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.config = self.folder / "config"
        shutil.copytree(EXAMPLES, self.config)
        shutil.copytree(FLASH_DATA, self.config / "data" / "flashdata", dirs_exist_ok=True)
        for name in ("ButtonDemo", "Flash", "ClearFaults", "AllActions"):
            (self.config / "KelServerScripts" / f"{name}.xml").unlink()
        self.edit("KelServer.xml", r"<F1Sequence>.*</F2Sequence>", "")

    def edit(self, name, pattern, replacement):
        file = self.config / name
        text, count = re.subn(pattern, replacement, file.read_text(encoding="utf-8"), flags=re.S)
        self.assertEqual(count, 1, pattern)
        file.write_text(text, encoding="utf-8", newline="\n")

    def write(self, text, name="config/KelServerScripts/S.xml"):
        file = self.folder / name
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text, encoding="utf-8", newline="\n")
        return name

    def line_of(self, name, text):
        """The line of a file of the configuration in which the text stands first."""
        before = (self.config / name).read_text(encoding="utf-8").split(text)[0]
        return before.count("\n") + 1

    def lines_of(self, *arguments):
        """What people read, alike on all systems; the folder is HERE."""
        text = kelctl(*arguments, cwd=self.folder).out.replace("\\", "/")
        folders = {folder.as_posix() for folder in (self.folder, self.folder.resolve())}
        return re.sub("(?:[A-Z]:)?(?:" + "|".join(map(re.escape, folders)) + ")", "HERE", text).splitlines()

    def check(self, *arguments):
        return kelctl(*arguments, "--json", cwd=self.folder)

    def expect_script(self, text, *expected, saying="", name="config/KelServerScripts/S.xml"):
        """Exactly these (rule, level, line, column); the exit code fits them."""
        result = self.check("script", "check", self.write(text, name))
        found, texts = findings_of(result)
        self.assertEqual([(rule, level, line, column) for rule, level, _, line, column in found],
                         list(expected), texts)
        self.assertIn(saying, texts)
        self.assertEqual(result.code, FINDINGS if expected else DONE)

    def expect_config(self, *expected, saying="", places=()):
        """Exactly these (rule, level, file, line)."""
        result = self.check("config", "check", *places)
        found, texts = findings_of(result)
        self.assertEqual([each[:4] for each in found], list(expected), texts)
        self.assertIn(saying, texts)
        self.assertEqual(result.code, FINDINGS if expected else DONE)
