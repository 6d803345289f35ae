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


def rows():
    for line in PAGE.read_text().splitlines():
        cells = [cell.strip() for cell in line.strip("|").split("|")]
        if line.startswith("|") and len(cells) == 5 and cells[0] != "what" and set(cells[0]) != {"-"}:
            yield cells


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
                name, file = PLACE.match(place).groups()
                self.assertEqual(documented(limit), in_code(name, file))


if __name__ == "__main__":
    unittest.main()
