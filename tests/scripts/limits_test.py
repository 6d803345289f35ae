#!/usr/bin/env python3
"""docs/limits.md tells the values that the code has. usage: limits_test.py ROOT"""

import pathlib
import re
import sys
import unittest

ROOT = pathlib.Path(sys.argv.pop(1))
PAGE = ROOT / "docs" / "limits.md"
# The name of a constant and the file that holds it.
PLACE = re.compile(r"^`(\w+)` in `([\w./]+)`$")
# The first number of a limit with its unit; without one it is a count.
LIMIT = re.compile(r"^(\d+)(?: (bytes|characters|KiB|MiB|ms|s|h))?\b")
FACTORS = {None: 1, "bytes": 1, "characters": 1, "KiB": 1024, "MiB": 1024 ** 2,
           "ms": 1, "s": 1000, "h": 3600 * 1000}
DURATIONS = {"milliseconds": 1, "seconds": 1000, "hours": 3600 * 1000}


# Where our code has no constant of its own.
ELSEWHERE = "the HTTP library's own"
PRODUCT = ("config", "http_stream", "kel_cpp", "kel_server", "kel_server_lib", "platform",
           "doip", "simulation", "std_util", "tools/kel_vehicle", "uds", "xml")
DECLARED = re.compile(r"\bconstexpr [\w:]+ (max[A-Z]\w*)(?: =|\{)")
# What a user of the XML library gives as a number of its own.
GIVEN_TO_XML = re.compile(r"^\s+\.(\w+) = (?:std::size_t\{)?\d", re.MULTILINE)
# Bounds of a number's type or digits, of what a message or name shows, and steps of a wait: nobody
# reaches them.
NO_LIMITS = {
    "maxAfter", "maxArriving", "maxBytes", "maxCharacterSize", "maxDigits", "maxKind", "maxNamePartLength",
    "maxNameLength", "maxNames", "maxPathLength", "maxPieceSize", "maxPort", "maxSecurityLevel",
    "maxShown", "maxTimeout", "maxTouchReadings", "maxTraceLevel", "maxVersionLength",
    "maxVinPartLength", "maxWaitInMicroseconds", "maxWord", "maxWriteSize",
    "maxWait` in `http_stream/SocketStream.cpp",
    # Follows from the longest request.
    "maxPayload` in `tools/kel_vehicle/entity/EntityLimits.hpp",
    # Bounds of what a setting may say.
    "maxCount` in `tools/kel_vehicle/misbehaviour/Commands.cpp",
    "maxClients` in `kel_cpp/settings/SettingsReader.cpp",
    "maxIdleSeconds` in `kel_cpp/settings/SettingsReader.cpp",
    "maxMessage` in `kel_cpp/settings/SettingsReader.cpp",
    "maxUnsent` in `kel_cpp/settings/SettingsReader.cpp"}


def rows():
    for line in PAGE.read_text().splitlines():
        if line.startswith("|") and not line.startswith(("| what |", "|---")):
            what, limit, place, why, seen = (cell.strip() for cell in line.strip("|").split("|"))
            yield what, limit, place, why, seen


def declared_limits():
    for folder in PRODUCT:
        for path in sorted((ROOT / folder).rglob("*.[ch]pp")):
            text = path.read_text()
            given = GIVEN_TO_XML.findall(text) if "Xml::Limits" in text else []
            for name in DECLARED.findall(text) + given:
                yield name, path.relative_to(ROOT).as_posix()


def documented(limit):
    number, unit = LIMIT.match(limit).groups()
    return int(number) * FACTORS[unit]


def in_code(name, file):
    """The constant's value, times in milliseconds."""
    found = re.search(rf"(?:([\w:]+) )?\b{name}(?: = |=|(?=\{{))([^;\n]+)", (ROOT / file).read_text())
    if found is None:
        raise AssertionError(f"{file} has no {name}")
    kind = (found[1] or "").rsplit(":", 1)[-1]
    return value_of(found[2]) * DURATIONS.get(kind, 1)


def value_of(expression):
    expression = re.sub(r"std::\w+\{(\w+)\}", r"\1", expression)
    product = re.match(r"\{?([\d']+U?(?: \* [\d']+U?)*)", expression)
    if product is None:
        raise AssertionError(f"no number: {expression}")
    value = 1
    for factor in product[1].split("*"):
        value *= int(factor.strip().rstrip("U").replace("'", ""))
    return value


class Limits(unittest.TestCase):
    def test_the_page_has_what_it_is_read_for(self):
        self.assertGreater(len(list(rows())), 25)

    def test_every_row_has_the_value_of_the_code(self):
        for what, limit, place, why, seen in rows():
            with self.subTest(what):
                self.assertTrue(why and seen)
                if place != ELSEWHERE:
                    name, file = PLACE.match(place).groups()
                    self.assertEqual(documented(limit), in_code(name, file))

    def test_every_limit_of_the_code_has_its_row(self):
        told = {place for _, _, place, _, _ in rows()}
        for name, file in declared_limits():
            with self.subTest(name):
                place = f"{name}` in `{file}"
                self.assertTrue({name, place} & NO_LIMITS or f"`{place}`" in told, file)


if __name__ == "__main__":
    unittest.main()
