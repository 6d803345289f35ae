#!/usr/bin/env python3
"""kelctl finds what the schema of scripts refuses, and nothing that it allows: hundreds of generated scripts
are held against xmllint."""

import copy
import pathlib
import random
import re
import shutil
import subprocess
import tempfile
import unittest

from kelctl_program import DONE, EXAMPLES, FINDINGS, IS_WINDOWS, kelctl

SCHEMA = EXAMPLES.parents[1] / "config" / "schema" / "KelServerScript.xsd"
XMLLINT = shutil.which("xmllint")
# The kinds of findings that stand for the schema.
SCHEMA_RULES = {"no-script", "unknown-attribute", "unknown-element", "unexpected-text", "unknown-text"}
FILES = 600

STATUS = ["Empty", "TestFailed", "Confirmed", "Pending", "WarningIndicatorRequested"]
SERVICES = ["IdentValues", "CurrentDtcs", "ClearErrors", "VehicleReportServices"]
TYPES = ["Undefined", "SWT_Initial", "CVCR", "ReadDTC"]
FLAGS = ["true", "false", "1", "0", " true ", "\tfalse"]
ELEMENTS = ["SelectAction", "QuicktestAction", "FlashingAction", "ExecuteAction", "UnlockAction", "Item",
            "Target", "DtcStatus", "VehicleReport", "Unlock", "Service", "KelServerScript", "item", "x"]
ATTRIBUTES = {"project": "P", "vehicleInformation": "V", "autoConnect": "1", "reportName": "R", "name": "N",
              "freezeFrames": "true", "extendedData": "0", "mileage": " 1 ",
              "enabled": "0", "parameter": "p", "type": "Tool", "resultLed": "true", "command": "C",
              "Name": "N", "xmlns": "", "xmlns:a": "urn:a"}


class Element:
    def __init__(self, name, attributes=None, children=(), text=""):
        self.name, self.attributes = name, dict(attributes or {})
        self.children, self.text = list(children), text

    def all(self):
        yield self
        for child in self.children:
            yield from child.all()

    def write(self):
        attributes = "".join(f' {name}="{escaped(value)}"' for name, value in self.attributes.items())
        if not self.children and not self.text:
            return f"<{self.name}{attributes}/>"
        inside = escaped(self.text) + "".join(child.write() for child in self.children)
        return f"<{self.name}{attributes}>{inside}</{self.name}>"


def escaped(text):
    for letter, entity in (("&", "&amp;"), ("<", "&lt;"), ('"', "&quot;"), ("\t", "&#9;")):
        text = text.replace(letter, entity)
    return text


class Generator:
    def __init__(self, seed):
        self.random = random.Random(seed)

    def some(self, *parts):
        """Each of them or not."""
        return dict(part for part in parts if self.random.random() < 0.6)

    def pick(self, words):
        return self.random.choice(words)

    def many(self, make):
        return [make() for _ in range(self.random.randrange(3))]

    def once(self, make):
        return [make()] if self.random.random() < 0.5 else []

    def item(self):
        return Element("Item", text=self.pick(["ENGINE", " ENGINE ", "", "A  B"]))

    def target(self):
        return Element("Target", self.some(("name", "ENGINE"), ("enabled", self.pick(FLAGS))))

    def unlock(self):
        return Element("Unlock", self.some(("name", "U"), ("parameter", "level1")))

    def status(self):
        return Element("DtcStatus", text=self.pick(["", " "]) + self.pick(STATUS) + self.pick(["", "\n"]))

    def report(self):
        services = self.many(lambda: Element("Service", text=self.pick(SERVICES)))
        return Element("VehicleReport", self.some(("type", self.pick(TYPES))), services)

    def action(self):
        kind = self.random.randrange(5)
        if kind == 0:
            return Element("SelectAction", self.some(("project", "P"), ("vehicleInformation", "V"),
                                                     ("autoConnect", self.pick(FLAGS))))
        if kind == 1:
            inside = (self.many(self.item) + self.many(self.target) + self.many(self.status)
                      + self.once(self.report) + self.once(self.unlock))
            self.random.shuffle(inside)
            return Element("QuicktestAction",
                           self.some(("reportName", "R"), ("freezeFrames", self.pick(FLAGS)),
                                     ("extendedData", self.pick(FLAGS)), ("mileage", self.pick(FLAGS))), inside)
        if kind == 2:
            inside = self.many(self.item) + self.many(self.target) + self.once(self.unlock)
            self.random.shuffle(inside)
            return Element("FlashingAction", children=inside)
        if kind == 3:
            return Element("ExecuteAction", self.some(("command", "C"), ("enabled", self.pick(FLAGS))))
        return Element("UnlockAction", children=self.once(self.unlock))

    def script(self):
        return Element("KelServerScript", self.some(("resultLed", self.pick(FLAGS))),
                       [self.action() for _ in range(self.random.randrange(4))])

    def mutate(self, script):
        element = self.pick(list(script.all()))
        parent = next((each for each in script.all() if element in each.children), None)
        change = self.random.randrange(9)
        if change == 0:
            name = self.pick(list(ATTRIBUTES))
            element.attributes[name] = ATTRIBUTES[name]
        elif change == 1 and element.attributes:
            name = self.pick(list(element.attributes))
            element.attributes[name] = self.pick(["TRUE", "", " Tool", "yes", "2", "tool"])
        elif change == 2 and element.attributes:
            del element.attributes[self.pick(list(element.attributes))]
        elif change == 3:
            element.children.insert(0, Element(self.pick(ELEMENTS)))
        elif change == 4 and element.children:
            element.children.append(copy.deepcopy(self.pick(element.children)))
        elif change == 5 and parent:
            parent.children.remove(element)
            self.pick(list(script.all())).children.append(element)
        elif change == 6:
            element.text = self.pick(["text", " ", "\n\t", "confirmed", "Confirmed", "IdentValues", "x y"])
        elif change == 7:
            element.name = self.pick(ELEMENTS)
        elif change == 8:
            self.random.shuffle(element.children)

    def text(self):
        script = self.script()
        for _ in range(self.pick([0, 1, 1, 2, 4])):
            self.mutate(script)
        return script.write()


def refused_by_schema(names, folder):
    done = subprocess.run([XMLLINT, "--noout", "--schema", SCHEMA, *names], cwd=folder, check=False,
                          capture_output=True, text=True, timeout=120)
    verdicts = dict(re.findall(r"^(\S+) (validates|fails to validate)$", done.stderr, re.M))
    assert set(verdicts) == set(names), done.stderr[-500:]
    return {name for name, verdict in verdicts.items() if verdict != "validates"}


def rules_by_file(names, folder):
    run, = kelctl("script", "check", *names, "--json", cwd=folder).json()["runs"]
    rules = {name: [] for name in names}
    for result in run["results"]:
        place = result["locations"][0]["physicalLocation"]["artifactLocation"]["uri"]
        rules[place].append((result["ruleId"], result["message"]["text"]))
    return rules


def setUpModule():
    if not XMLLINT and IS_WINDOWS:
        raise unittest.SkipTest("there is no xmllint")
    if not XMLLINT:
        raise AssertionError("there is no xmllint, which checks the scripts independently: install libxml2-utils")


class GeneratedScripts(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        generator = Generator(20261122)
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            cls.texts = {f"{number}.xml": generator.text() for number in range(FILES)}
            for file, text in cls.texts.items():
                (folder / file).write_bytes(text.encode())
            cls.refused = refused_by_schema(list(cls.texts), folder)
            cls.rules = rules_by_file(list(cls.texts), folder)

    def test_are_of_both_kinds(self):
        self.assertGreater(len(self.refused), FILES // 4)
        self.assertLess(len(self.refused), FILES * 3 // 4)

    def test_what_the_schema_refuses_is_found(self):
        for name in sorted(self.refused):
            found = {rule for rule, _ in self.rules[name]}
            self.assertTrue(found & (SCHEMA_RULES | {"does-not-load"}), self.texts[name])

    def test_what_the_schema_allows_is_not_complained_about(self):
        for name in sorted(set(self.texts) - self.refused):
            self.assertFalse({rule for rule, _ in self.rules[name]} & SCHEMA_RULES, self.texts[name])

    def test_only_a_second_element_is_allowed_by_the_schema_and_does_not_load(self):
        for name in sorted(set(self.texts) - self.refused):
            for rule, text in self.rules[name]:
                if rule == "does-not-load":
                    self.assertIn("a second element", text, self.texts[name])


class BindingAScriptToItsSchema(unittest.TestCase):
    TEXT = ('<KelServerScript xmlns:s="http://www.w3.org/2001/XMLSchema-instance" {}="KelServerScript.xsd">'
            '<SelectAction project="P" vehicleInformation="V"/></KelServerScript>')

    def check(self, attribute):
        with tempfile.TemporaryDirectory() as folder:
            pathlib.Path(folder, "bound.xml").write_text(self.TEXT.format(attribute), encoding="utf-8")
            refused = refused_by_schema(["bound.xml"], folder)
            code = kelctl("script", "check", "bound.xml", cwd=folder).code
        return bool(refused), code

    def test_is_allowed(self):
        self.assertEqual(self.check("s:noNamespaceSchemaLocation"), (False, DONE))

    def test_is_allowed_further_inside_too(self):
        with tempfile.TemporaryDirectory() as folder:
            text = self.TEXT.format("s:schemaLocation").replace("<SelectAction ",
                                                                '<SelectAction s:schemaLocation="a b" ')
            pathlib.Path(folder, "bound.xml").write_text(text.replace('"KelServerScript.xsd"', '"a b"'),
                                                         encoding="utf-8")
            self.assertEqual(refused_by_schema(["bound.xml"], folder), set())
            self.assertEqual(kelctl("script", "check", "bound.xml", cwd=folder).code, DONE)

    def test_needs_the_namespace_for_it(self):
        self.assertEqual(self.check("s:location"), (True, FINDINGS))
        self.assertEqual(self.check("noNamespaceSchemaLocation"), (True, FINDINGS))


if __name__ == "__main__":
    unittest.main(argv=["check_schema_test"])
