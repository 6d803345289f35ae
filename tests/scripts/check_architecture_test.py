"""Plants one violation at a time in a small tree and expects check-architecture to find it."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

import script_module

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "check-architecture"

CLEAN_TREE = {
    "platform/Clock.hpp": "#pragma once\n#ifdef _WIN32\n#include <windows.h>\n#endif\n",
    "kel_server_lib/runtime/KelApi.hpp": "#pragma once\n#include <string>\nstd::string name();\n",
    "kel_server_lib/sequence/Handler.cpp": '#include "kel_server_lib/runtime/KelApi.hpp"\n',
    "kel_server_lib/CMakeLists.txt": "add_library(kel_server_lib_runtime INTERFACE)\n"
                                     "add_library(x sequence/Handler.cpp)\n",
    "kel_cpp/CMakeLists.txt": "add_library(y ${PROJECT_SOURCE_DIR}/kel_cpp/Runtime.cpp)\n",
    "kel_cpp/Runtime.cpp": '#include "kel_server_lib/runtime/KelApi.hpp"\n',
    "kel_server/main.cpp": '#ifdef _WIN32\n#endif\n#include "kel_cpp/Runtime.hpp"\n',
    "kel_server/CMakeLists.txt": "add_executable(kel_server main.cpp)\n"
                                 "target_link_libraries(kel_server PRIVATE app kel_runtime)\n",
}


class CheckArchitecture(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        for name, text in CLEAN_TREE.items():
            self.plant(name, text)

    def plant(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)

    def run_check(self, *options):
        command = [sys.executable, str(SCRIPT), "--root", str(self.root), *options]
        return subprocess.run(command, capture_output=True, text=True, check=False)

    def expect_finding(self, finding, *options):
        result = self.run_check(*options)
        self.assertEqual(result.returncode, 1, result.stdout + result.stderr)
        self.assertIn(finding, result.stdout)

    def test_passes_a_clean_tree(self):
        result = self.run_check()
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)

    def test_fails_for_a_tree_without_sources(self):
        with tempfile.TemporaryDirectory() as empty:
            self.root = pathlib.Path(empty)
            self.assertEqual(self.run_check().returncode, 1)

    def test_finds_a_server_library_that_includes_the_runtime(self):
        self.plant("kel_server_lib/sequence/A.cpp", '\n#include "kel_cpp/Runtime.hpp"\n')
        self.expect_finding("kel_server_lib/sequence/A.cpp:2: kel_server_lib/sequence must not include")

    def test_finds_an_include_in_angle_brackets_too(self):
        self.plant("kel_server_lib/runtime/A.hpp", "#pragma once\n#include <kel_cpp/Runtime.hpp>\n")
        self.expect_finding("kel_server_lib/runtime/A.hpp:2: kel_server_lib/runtime must not include")

    def test_finds_an_arrow_against_the_order_of_the_folders(self):
        for name, header in (("kel_server_lib/devices/A.cpp", "kel_server_lib/sequence/B.hpp"),
                             ("kel_server_lib/sequence/actions/A.cpp", "kel_server_lib/sequence/B.hpp"),
                             ("kel_cpp/base/A.cpp", "kel_cpp/Runtime.hpp"),
                             ("simulation/A.cpp", "kel_cpp/settings/B.hpp")):
            self.plant(name, f'#include "{header}"\n')
            self.expect_finding(f'{name}:1: {name.rpartition("/")[0]} must not include "{header}"')

    def test_finds_a_folder_that_nobody_has_placed(self):
        self.plant("kel_server_lib/misc/A.cpp", "")
        self.expect_finding("kel_server_lib/misc/A.cpp:1: kel_server_lib/misc has no arrows")

    def test_finds_a_circle_in_the_table_of_arrows(self):
        check = script_module.load(SCRIPT)
        check.ARROWS = {"a": (), "b": ("a", "c"), "c": ("b",)}
        findings = check.Findings()
        check.check_arrows(findings)
        self.assertEqual(findings, ["scripts/check-architecture:1: b -> c points down: a circle"])

    def test_finds_a_circle_between_folders_of_tests(self):
        self.plant("tests/a/A.hpp", '#pragma once\n#include "tests/b/B.hpp"\n')
        self.plant("tests/b/B.hpp", '#pragma once\n#include "tests/c/C.hpp"\n')
        self.plant("tests/c/C.hpp", '#pragma once\n#include "tests/d/D.hpp"\n')
        self.plant("tests/d/D.hpp", '#pragma once\n#include "tests/d/E.hpp"\n')
        self.assertEqual(self.run_check().returncode, 0)
        self.plant("tests/c/D.hpp", '#pragma once\n\n#include "tests/a/A.hpp"\n')
        for arrow in ("tests/a/A.hpp:2: tests/a -> tests/b", "tests/b/B.hpp:2: tests/b -> tests/c",
                      "tests/c/D.hpp:3: tests/c -> tests/a"):
            self.expect_finding(f"{arrow} is part of a circle")
        self.assertNotIn("tests/d", self.run_check().stdout)

    def test_finds_a_server_library_that_links_the_runtime(self):
        for library in ("kel_cpp", "kel_cpp_uds", "kel_runtime"):
            self.plant("kel_server_lib/CMakeLists.txt", f"x(a)\ntarget_link_libraries(a {library})\n")
            self.expect_finding("kel_server_lib/CMakeLists.txt:2: kel_server_lib must not link")

    def test_finds_a_server_library_that_links_the_runtime_into_the_program(self):
        self.plant("kel_server_lib/CMakeLists.txt", "target_link_libraries(kel_server PRIVATE kel_cpp)\n")
        self.expect_finding("kel_server_lib/CMakeLists.txt:1: kel_server_lib must not link")

    def test_finds_an_application_that_links_the_runtime(self):
        self.plant("kel_server/CMakeLists.txt", "target_link_libraries(kel_server_app kel_runtime)\n")
        self.expect_finding("kel_server/CMakeLists.txt:1: kel_server must not link")

    def test_finds_an_application_that_includes_the_runtime(self):
        self.plant("kel_server/Usage.cpp", '#include "kel_cpp/Runtime.hpp"\n')
        self.expect_finding("kel_server/Usage.cpp:1: kel_server must not include")

    def test_finds_a_runtime_that_includes_more_than_the_facade(self):
        self.plant("kel_cpp/A.cpp", '#include "kel_server_lib/sequence/ServerHandlerSequence.hpp"\n')
        self.expect_finding("kel_cpp/A.cpp:1: kel_cpp must not include")

    def test_finds_a_library_that_includes_what_stands_on_it(self):
        self.plant("platform/A.cpp", '#include "std_util/FileTool.hpp"\n')
        self.expect_finding("platform/A.cpp:1: platform must not include")

    def test_finds_a_platform_condition_outside_of_platform(self):
        for condition in ("#ifdef _WIN32", "# if defined(__linux__) && 1", "#elif defined(_MSC_VER)"):
            self.plant("config/A.cpp", f"int a;\n{condition}\n#endif\n")
            self.expect_finding("config/A.cpp:2: a condition on the platform")

    def test_finds_a_system_header_outside_of_platform(self):
        for header in ("unistd.h", "sys/socket.h", "windows.h"):
            self.plant("std_util/A.cpp", f"#include <{header}>\n")
            self.expect_finding(f"std_util/A.cpp:1: <{header}> belongs into platform/")

    def test_finds_a_header_without_pragma_once(self):
        self.plant("config/A.hpp", "int a();\n")
        self.expect_finding("config/A.hpp:1: a header begins with #pragma once")

    def test_finds_unfinished_work(self):
        for words in ("TO" + "DO later", "FIX" + "ME"):
            self.plant("docs/a.md", f"fine\n{words}\n")
            self.expect_finding("docs/a.md:2: ")

    def test_finds_a_source_that_no_build_knows(self):
        self.plant("kel_server_lib/sequence/Forgotten.cpp", "\n")
        self.expect_finding("kel_server_lib/sequence/Forgotten.cpp:1: no CMakeLists.txt names this source")
        self.plant("kel_server_lib/CMakeLists.txt", "# x(sequence/Forgotten.cpp)\nadd_library(x sequence/Handler.cpp)\n")
        self.expect_finding("kel_server_lib/sequence/Forgotten.cpp:1: no CMakeLists.txt names this source")

    def test_knows_the_sources_of_both_platforms(self):
        self.plant("platform/CMakeLists.txt", "add_library(p ${KEL_PLATFORM_FOLDER}/Clock.cpp)\n")
        self.plant("platform/linux/Clock.cpp", "\n")
        self.plant("platform/windows/Clock.cpp", "\n")
        result = self.run_check()
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)

    def test_lists_long_files_without_failing(self):
        self.plant("config/Long.cpp", "int a;\n" * 301)
        self.plant("config/CMakeLists.txt", "add_library(config Long.cpp)\n")
        result = self.run_check()
        self.assertEqual(result.returncode, 0)
        self.assertIn("301 config/Long.cpp", result.stdout)


if __name__ == "__main__":
    unittest.main()
