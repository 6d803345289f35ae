#!/usr/bin/env python3
"""What the documents list completely is compared with the sources that decide it."""

import pathlib
import re
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent


def text(path):
    return (ROOT / path).read_text(encoding="utf-8")


class Reference(unittest.TestCase):
    def test_operation_names_the_options_of_the_command_line(self):
        options = set(re.findall(r'L"(-{1,2}\w+|\?)"', text("kel_server/CommandLine.cpp")))
        options.add(re.search(r'serviceOption = L"(--\w+)"', text("platform/windows/ServiceProgram.cpp"))[1])
        table = text("docs/operation.md").split("## Command line")[1].split("\n## ")[0]
        documented = {word for line in table.splitlines() if line.startswith("| `-")
                      for word in re.findall(r"`(-{1,2}\w+|\?)`", line.split("|")[1])}
        self.assertEqual(documented, options)
        self.assertGreater(len(options), 8)

    def test_formats_runtime_lists_the_error_codes(self):
        enumeration = text("kel_cpp/base/RuntimeError.hpp").split("enum class ErrorCode")[1].split("};")[0]
        codes = re.findall(r"(\w+) = (\d+),", enumeration)
        documented = re.findall(r"^\| (\d+) \| (\w+) \|", text("docs/formats-runtime.md"), re.M)
        self.assertEqual(documented, [(number, name) for name, number in codes])
        self.assertGreater(len(codes), 20)

    def test_formats_script_lists_the_words_of_the_tables(self):
        lists = text("docs/formats-script.md").split("\n- ")
        for table, begin in (("DtcStatusTable", "`DtcStatus`: "), ("ReportServiceTable", "`Service`: "),
                             ("ReportTypeTable", "`VehicleReport` `type`: ")):
            with self.subTest(table):
                words = re.findall(r'\{L"(\w+)",', text(f"kel_server_lib/tables/{table}.cpp"))
                documented = next(item for item in lists if item.startswith(begin))
                documented = re.findall(r"`(\w+)`", documented.removeprefix(begin).split("\n\n")[0])
                self.assertEqual(sorted(documented), sorted(words))
                self.assertGreater(len(words), 8)

    def test_clients_lists_the_methods_with_their_roles_and_parameters(self):
        described = re.findall(r'MethodDescription\{\s*"([\w.]+)", Role::(\w+),\s*(?:"(?:[^"\\]|\\.)*"\s*)+,'
                               r'\s*"(\w*)",', text("kel_cpp/rpc/MethodDescriptions.hpp"))
        documented = re.findall(r"^\| `([a-z]+\.\w+)` \| (none|watch|control) \|(?: `(\w+)`)? \|",
                                text("docs/clients.md"), re.M)
        self.assertEqual(documented, [(name, role.lower(), parameter)
                                      for name, role, parameter in described])
        self.assertEqual(len(described),
                         len(re.findall(r"MethodDescription\{", text("kel_cpp/rpc/MethodDescriptions.hpp"))))
        self.assertGreater(len(described), 15)

    def test_clients_lists_the_error_codes(self):
        enumeration = text("kel_cpp/rpc/RpcError.hpp").split("enum class RpcErrorCode")[1].split("};")[0]
        codes = re.findall(r"(\w+) = (-\d+),", enumeration)
        documented = re.findall(r"^\| (-\d+) \| (\w+) \|", text("docs/clients.md"), re.M)
        self.assertEqual(documented, [(number, name) for name, number in codes])
        self.assertGreater(len(codes), 8)


if __name__ == "__main__":
    unittest.main()
