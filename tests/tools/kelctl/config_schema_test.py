#!/usr/bin/env python3
"""The server's readers take what the schemas of KelServer.xml, project.xml and vehicle.xml allow, and nothing
else: hundreds of generated files of each kind are held against xmllint. Only what the schemas cannot say is
left out: see `TOGETHER`."""

import copy
import pathlib
import random
import re
import shutil
import subprocess
import tempfile
import unittest

from kelctl_program import EXAMPLES, IS_WINDOWS, kelctl

SCHEMAS = EXAMPLES.parents[1] / "config" / "schema"
XMLLINT = shutil.which("xmllint")
FILES = 300

FLAGS = ["true", "false", "1", "0", " true ", "\tfalse\n", "TRUE", "yes", ""]
TEXTS = ["A", " A ", "A  B", "\u00fc", "\n", "", " ", "\u00a0", "a\nb"]
BYTES = ["22F190", "22 F1 90", " 22\tF1  90\n", "2", "22 F", "2 2", "xx", "", " ", "-1", "0x22"]
EXPECTED = ["62 F1 90", "62F190*", "62 ?? *", "*", "??", "??*", "* 62", "?", "6", "", "62**", "6 2", "none",
            " none\n", "None", "none *", "no ne"]
# Elements and attributes of which the server knows more than one schema can say. They stay as they are made.
TOGETHER = {("Target", "kind"), ("Target", "link"), ("FlashItem", "target"), ("DataIdentifier", "text"),
            ("DataIdentifier", "bytes"), ("Data", "bytes"), ("DataIdentifier", "vin"), ("Fault", "response"), ("Fault", "linkLost"), ("Fault", "inputFull"),
            ("FlashMemory", "address"), ("FlashMemory", "securityLevel")}
# A second one needs another place in the file or in the control unit's memory, or a number of its own.
ONCE = {"Identification", "Mileage", "FlashMemory", "FreezeFrame", "ExtendedData"}


def number(low, high):
    """Spellings of numbers in, at and beyond the bounds, some of them none."""
    inside = [low, high, (low + high) // 2]
    every = inside * 2 + [high + 1, 2 * high + 1] + ([low - 1] if low else [])
    spelled = [form.format(value) for value in every
               for form in ("{}", " {}\t", "00{}", "0x{:x}", "0X{:X}", "\n0x00{:X} ")]
    return spelled + ["", " ", "-1", "+1", "0x", "x1", "1.0", "1 0", "0x1g", "1e1", "\u0661", "0b1"]


def odd(low, high):
    return number(low, high) + ["2", "0x2", "0x7C", "125", "0x41", "127", "0x07D"]


def dtc():
    return ["0x012345", " 0xABCDEF ", "0x12345", "0x0123456", "0X012345", "74565", "012345", "0x01234g", ""]


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
        inside = self.text if self.text.startswith("<!") else escaped(self.text)
        inside += "".join(child.write() for child in self.children)
        return f"<{self.name}{attributes}>{inside}</{self.name}>" if inside else f"<{self.name}{attributes}/>"


def escaped(text):
    for letter, entity in (("&", "&amp;"), ("<", "&lt;"), ('"', "&quot;"), ("\t", "&#9;"), ("\n", "&#10;")):
        text = text.replace(letter, entity)
    return text


def has_own_attributes(element):
    """An interface that has only the attributes that the server knows for its name: no schema can say so."""
    return element.name == "Interface" and element.attributes.get("name") == "DoIP"


class Settings:
    SCHEMA, FILE = "KelServer.xsd", "KelServer.xml"
    LEAVES = ["BrokerUrl", "BrokerUrlFile", "StartSequence", "F1Sequence", "F2Sequence", "Vehicle"]
    ATTRIBUTES = {("Tracing", "enabled"): FLAGS, ("Tracing", "level"): number(0, 4), ("Tracing", "bus"): FLAGS, ("Group", "name"): TEXTS,
                  ("Interface", "name"): TEXTS, ("Interface", "enabled"): FLAGS,
                  ("Interface", "p2"): number(1, 60000), ("Interface", "p2Star"): number(1, 600000),
                  ("Interface", "deltaP2"): number(1, 60000),
                  ("Interface", "host"): TEXTS, ("Interface", "port"): number(1, 65535),
                  ("Interface", "testerAddress"): number(0x0E00, 0x0FFF), ("Interface", "activation"): number(0, 255),
                  ("Interface", "vin"): ["WKLDEMO0000000042", "wkldemo0000000042", " WKLDEMO000000042", "WKL", "", " "],
                  ("Interface", "eid"): ["02:00:00:00:00:2A", "02:00:00:00:00:2a", "02-00-00-00-00-2A", "02:00", ""],
                  ("SovdServer", "port"): number(1, 65535), ("Clients", "max"): number(1, 10000),
                  ("Clients", "messageBytes"): number(1024, 1 << 24), ("Access", "tokenFile"): TEXTS,
                  ("Clients", "idleSeconds"): number(1, 86400), ("Clients", "unsentTexts"): number(10, 100000)}
    CONTENTS = {"Port": number(1, 65535), "IpAddress": TEXTS, **dict.fromkeys(LEAVES, TEXTS),
                "Projects": TEXTS, "Traces": TEXTS, "Reports": TEXTS, "Data": TEXTS}

    @staticmethod
    def make():
        address = Element("ServerAddress", {}, [Element("IpAddress", text="127.0.0.1"), Element("Port", text="1")])
        group = Element("Group", {"name": "g"}, [Element("Interface", {"name": "Simulation", "enabled": "true", "p2": "1", "p2Star": "1", "deltaP2": "1"}),
                                                Element("Interface", {"name": "DoIP", "host": "h", "vin": "", "eid": "", "port": "1",
                                                                      "testerAddress": "0x0E80", "activation": "0"})])
        folders = [Element(name, text=name) for name in ("Projects", "Traces", "Reports", "Data")]
        return Element("KelServer", {}, [
            Element("ServerAddresses", {}, [address]), *(Element(name, text="a") for name in Settings.LEAVES),
            Element("Paths", {}, folders), Element("Tracing", {"enabled": "true", "level": "3", "bus": "false"}),
            Element("Interfaces", {}, [group]), Element("SovdServer", {"port": "1"}),
            Element("Clients", {"max": "1", "messageBytes": "1024", "idleSeconds": "1", "unsentTexts": "10"}),
            Element("Access", {"tokenFile": "t"})])


class Project:
    SCHEMA, FILE = "Project.xsd", "project.xml"
    ATTRIBUTES = {("Project", "description"): TEXTS, ("ExtendedData", "record"): number(1, 239),
                  ("ExtendedData", "name"): TEXTS, ("ExtendedData", "unit"): TEXTS,
                  ("Mileage", "id"): number(0, 65535), ("Mileage", "unit"): TEXTS, ("Request", "link"): TEXTS, ("Request", "send"): BYTES,
                  ("Request", "expect"): EXPECTED, ("Request", "waitOutDelay"): number(1, 86400),
                  ("Wait", "milliseconds"): number(0, 86400000),
                  ("Verdict", "result"): ["passed", "failed", " passed", "Passed", ""], ("Verdict", "text"): TEXTS,
                  ("DataIdentifier", "id"): number(0, 65535), ("DataIdentifier", "name"): TEXTS,
                  ("Unlock", "name"): TEXTS, ("Unlock", "link"): TEXTS, ("Parameter", "name"): TEXTS,
                  ("Parameter", "level"): odd(1, 0x7D), ("Parameter", "keyMask"): number(0, 2**32 - 1),
                  ("FlashItem", "name"): TEXTS, ("FlashItem", "description"): TEXTS,
                  ("FlashItem", "securityLevel"): odd(1, 0x7D), ("FlashItem", "keyMask"): number(0, 2**32 - 1),
                  ("Session", "name"): TEXTS, ("Session", "address"): number(0, 2**32 - 1),
                  ("Session", "file"): ["a", ".", "..", ".a", "..a", "...", "a/b", "a\\b", "a:", "", " ", " .", "a.b"],
                  ("Session", "size"): number(1, 2**32 - 1), ("Session", "checksum"): number(0, 2**32 - 1),
                  ("Session", "unchecked"): FLAGS, ("Fingerprint", "tester"): BYTES,
                  ("Reset", "bootMilliseconds"): number(0, 300000),
                  ("Target", "address"): number(1, 65535), ("Target", "functionalAddress"): number(1, 65535),
                  ("Target", "testerAddress"): number(1, 65535), ("Target", "interface"): TEXTS,
                  ("DtcText", "code"): dtc() + ["0x000000", "0xFFFFFF"], ("DtcText", "text"): TEXTS}
    CONTENTS = {}

    @staticmethod
    def make():
        steps = [Element("Request", {"link": "L", "send": "22F190", "expect": "*", "waitOutDelay": "1"}),
                 Element("Wait", {"milliseconds": "1"}), Element("Verdict", {"result": "passed", "text": "t"})]
        offer = [Element("Target", {"name": "ENGINE", "link": "L", "address": "1", "functionalAddress": "0xE400",
                                    "testerAddress": "0x0E80", "interface": "DoIP"}), Element("Target", {"kind": "0x2", "name": "#OTX"}),
                 Element("Procedure", {"name": "P"})]
        session = {"name": "s", "file": "f", "address": "0", "size": "1", "checksum": "0", "unchecked": "false"}
        flash = [Element("Request", {"send": "1003"}), Element("Unlock"), Element("Fingerprint", {"tester": "01"}),
                 Element("Sessions"), Element("CheckDependencies"), Element("Reset", {"bootMilliseconds": "1"})]
        return Element("Project", {"description": "d"}, [
            Element("VehicleInformation", {"name": "V"}, offer), Element("Procedure", {"name": "P"}, steps),
            Element("Identification", {}, [Element("DataIdentifier", {"id": "0xF190", "name": "VIN"})]),
            Element("ExtendedData", {"record": "16", "name": "E", "unit": "km"}),
            Element("ExtendedData", {"record": "0x11", "name": "F"}), Element("Mileage", {"id": "0xF4A6", "unit": "km"}),
            Element("Unlock", {"name": "U", "link": "L"},
                    [Element("Parameter", {"name": "p", "level": "1", "keyMask": "0"})]),
            Element("FlashItem", {"name": "F", "target": "ENGINE", "description": "d", "securityLevel": "1",
                                  "keyMask": "1"}, [Element("Sequence", {}, flash), Element("Session", session)]),
            Element("DtcText", {"code": "0x111111", "text": "t"})])


class Vehicle:
    SCHEMA, FILE = "Vehicle.xsd", "vehicle.xml"
    SESSIONS = ["default", "extended", "programming", " extended", "Extended", ""]
    MILLISECONDS = number(0, 60000)
    ATTRIBUTES = {("Vehicle", "vin"): ["A", "A" * 17, "A" * 18, "a", " A", "", "A-"],
                  ("ControlUnit", "name"): TEXTS, ("ControlUnit", "link"): TEXTS,
                  ("ControlUnit", "address"): number(0, 65535), ("ControlUnit", "responseDelay"): MILLISECONDS,
                  ("ControlUnit", "bootTime"): MILLISECONDS,
                  ("ControlUnit", "programmingFrom"): ["any", "extended", " any", "Any", ""],
                  ("ControlUnit", "dtcFormat"): number(0, 255), ("ControlUnit", "statusAvailability"): number(0, 255),
                  ("DataIdentifier", "controllable"): FLAGS, ("Dtc", "occurrences"): number(0, 255),
                  ("Dtc", "ageing"): number(0, 255), ("FreezeFrame", "record"): number(1, 239),
                  ("ExtendedData", "record"): number(1, 239), ("ExtendedData", "bytes"): BYTES,
                  ("Data", "id"): number(0, 65535),
                  ("DataIdentifier", "id"): number(0, 65535), ("DataIdentifier", "writable"): FLAGS,
                  ("DataIdentifier", "session"): SESSIONS, ("Dtc", "status"): number(0, 255),
                  ("Dtc", "code"): dtc() + ["0x000000", "0xFFFFFF", "0xffffff", "0x000001", "0xFFFFFE"],
                  ("SecurityLevel", "keyMask"): number(0, 2**32 - 1), ("SecurityLevel", "level"): odd(1, 0x7D),
                  ("Routine", "id"): number(0, 65535), ("Routine", "result"): BYTES,
                  ("Routine", "duration"): MILLISECONDS, ("Routine", "session"): SESSIONS,
                  ("FlashMemory", "size"): number(1, 64 << 20), ("FlashMemory", "blockLength"): number(8, 1 << 20),
                  ("FlashMemory", "eraseDuration"): MILLISECONDS, ("FlashMemory", "softwareVersion"): TEXTS,
                  ("Fault", "request"): BYTES, ("Fault", "after"): number(0, 2**32 - 1),
                  ("Fault", "times"): number(1, 2**32 - 1)}
    CONTENTS = {}

    @staticmethod
    def make():
        access = {"session": "extended", "securityLevel": "0"}
        memory = {"address": "0", "size": "1", "blockLength": "8", "eraseDuration": "0", "securityLevel": "0x0",
                  "softwareVersion": "1"}
        fault = {"request": "22F190", "after": "0", "times": "1"}
        return Element("Vehicle", {"vin": "WVW"}, [Element("ControlUnit", {
            "name": "U", "address": "1", "link": "L", "responseDelay": "0", "bootTime": "0", "programmingFrom": "any",
            "dtcFormat": "1", "statusAvailability": "0x7F"}, [
                Element("DataIdentifier", {"id": "2", "text": "t", "writable": "true", "controllable": "false", **access}),
                Element("DataIdentifier", {"id": "3", "bytes": "0102"}),
                Element("DataIdentifier", {"id": "4", "vin": "true"}), Element("Dtc", {"code": "0x111111", "status": "1"}, [
                    Element("FreezeFrame", {"record": "1"}, [Element("Data", {"id": "1", "bytes": "01"})]),
                    Element("ExtendedData", {"record": "16", "bytes": "01"})]),
                Element("Dtc", {"code": "0x222222", "status": "1", "occurrences": "1", "ageing": "0"}),
                Element("SecurityLevel", {"level": "3", "keyMask": "0x1"}),
                Element("Routine", {"id": "1", "result": "01", "duration": "0", **access}), Element("FlashMemory", memory),
                Element("Fault", {"response": "7F2231", **fault}), Element("Fault", {"linkLost": "true", **fault}),
                Element("Fault", {"inputFull": "true", **fault})])])


class Generator:
    def __init__(self, kind, seed):
        self.kind, self.random = kind, random.Random(seed)
        self.names = sorted(({element.name for element in kind.make().all()} | {"item", "X"}) - ONCE)

    def change_attribute(self, element):
        known = [name for name in element.attributes
                 if (element.name, name) in self.kind.ATTRIBUTES and not (name == "name" and has_own_attributes(element))]
        if known:
            name = self.random.choice(known)
            element.attributes[name] = self.random.choice(self.kind.ATTRIBUTES[element.name, name])

    def drop_attribute(self, element):
        known = [name for name in element.attributes if (element.name, name) not in TOGETHER]
        if known:
            del element.attributes[self.random.choice(known)]

    def change_text(self, element):
        words = ["text", " ", "\n\t", "<!-- c -->", "<![CDATA[1]]>"]
        element.text = self.random.choice(self.kind.CONTENTS.get(element.name, words))

    def mutate(self, root):
        element = self.random.choice(list(root.all()))
        change = self.random.randrange(12)
        if change < 6:
            self.change_attribute(element)
            if element.name in self.kind.CONTENTS:
                self.change_text(element)
        elif change == 6:
            self.drop_attribute(element)
        elif change == 7:
            self.change_text(element)
        elif change == 8:
            unknown = [] if has_own_attributes(element) else ["x", "Name"]
            element.attributes[self.random.choice([*unknown, "xmlns:a", "xmlns"])] = "1"
        elif change == 9:
            element.children.insert(0, Element(self.random.choice(self.names)))
        elif change == 10:
            copied = [child for child in element.children if child.name not in ONCE]
            if copied:
                element.children.append(copy.deepcopy(self.random.choice(copied)))
        else:
            self.random.shuffle(element.children)

    def text(self):
        root = self.kind.make()
        for _ in range(self.random.choice([1, 1, 2])):
            self.mutate(root)
        return root.write()


def refused_by_schema(schema, names, folder):
    done = subprocess.run([XMLLINT, "--noout", "--nonet", "--schema", SCHEMAS / schema, *names], cwd=folder,
                          check=False, capture_output=True, text=True, timeout=120)
    verdicts = dict(re.findall(r"^(\S+) (validates|fails to validate)$", done.stderr, re.M))
    assert set(verdicts) == set(names), done.stderr[-500:]
    return {name for name, verdict in verdicts.items() if verdict != "validates"}


def refused_by_reader(names, folder):
    run, = kelctl("config", "check", *names, "--json", cwd=folder).json()["runs"]
    return {result["locations"][0]["physicalLocation"]["artifactLocation"]["uri"]: result["message"]["text"]
            for result in run["results"] if result["ruleId"] == "does-not-load"}


def setUpModule():
    if not XMLLINT and IS_WINDOWS:
        raise unittest.SkipTest("there is no xmllint")
    if not XMLLINT:
        raise AssertionError("there is no xmllint, which checks the files independently: install libxml2-utils")


class GeneratedFiles(unittest.TestCase):
    def check(self, kind):
        generator = Generator(kind, 20261123)
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            texts = {f"{index}/{kind.FILE}": generator.text() for index in range(FILES)}
            texts[f"as-it-is/{kind.FILE}"] = kind.make().write()
            for file, text in texts.items():
                (folder / file).parent.mkdir()
                (folder / file).write_bytes(text.encode())
            refused = refused_by_schema(kind.SCHEMA, list(texts), folder)
            told = refused_by_reader(list(texts), folder)
        self.assertNotIn(f"as-it-is/{kind.FILE}", refused)
        self.assertGreater(len(refused), FILES // 5)
        self.assertLess(len(refused), FILES * 4 // 5)
        for file, text in texts.items():
            with self.subTest(text):
                self.assertEqual(file in refused, file in told, told.get(file, "the schema refuses it"))

    def test_of_the_settings(self):
        self.check(Settings)

    def test_of_a_project(self):
        self.check(Project)

    def test_of_a_vehicle(self):
        self.check(Vehicle)


if __name__ == "__main__":
    unittest.main(argv=["config_schema_test"])
