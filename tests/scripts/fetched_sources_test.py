#!/usr/bin/env python3
"""Where scripts/setup cannot run, CMake brings the sources of the libraries from a Debian mirror."""

import hashlib
import io
import pathlib
import re
import subprocess
import tarfile
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
ARCHIVES = ROOT / "cmake" / "windows" / "Archives.cmake"
PROJECT = """
cmake_minimum_required(VERSION 3.25)
project(fetching LANGUAGES NONE)
list(APPEND CMAKE_MODULE_PATH "{root}/cmake")
set(KEL_DEPENDENCIES_FOLDER "{folder}/libraries")
include(windows/FetchedSources)
set(KEL_WINDOWS_ARCHIVES windows/tiny pool/main/t/tiny/tiny_1.orig.tar.gz {checksum})
kel_fetch_sources()
"""


class FetchedSources(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.archive = self.folder / "mirror/pool/main/t/tiny/tiny_1.orig.tar.gz"
        self.archive.parent.mkdir(parents=True)
        with tarfile.open(self.archive, "w:gz") as archive:
            content = b"int tiny();\n"
            header = tarfile.TarInfo("tiny-1/tiny.h")
            header.size = len(content)
            archive.addfile(header, io.BytesIO(content))
        self.checksum = hashlib.sha256(self.archive.read_bytes()).hexdigest()
        self.source = self.folder / "libraries/windows/tiny/tiny.h"

    def configure(self, *options):
        (self.folder / "CMakeLists.txt").write_text(
            PROJECT.format(root=ROOT, folder=self.folder, checksum=self.checksum))
        return subprocess.run(["cmake", "-S", self.folder, "-B", self.folder / "build", *options],
                              capture_output=True, text=True)

    def from_mirror(self):
        return self.configure(f"-DKEL_DEBIAN_MIRROR=file://{self.folder}/mirror")

    def test_unpacks_an_archive_of_the_mirror(self):
        result = self.from_mirror()
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(self.source.read_text(), "int tiny();\n")

    def test_does_not_fetch_what_is_there(self):
        self.from_mirror()
        self.archive.unlink()
        self.source.write_text("as somebody left it")
        result = self.configure("-DKEL_DEBIAN_MIRROR=")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(self.source.read_text(), "as somebody left it")

    def test_refuses_an_archive_with_another_checksum(self):
        self.checksum = "0" * 64
        result = self.from_mirror()
        self.assertNotEqual(result.returncode, 0)
        self.assertIn("tiny_1.orig.tar.gz", result.stdout + result.stderr)
        self.assertFalse(self.source.exists())
        self.assertFalse((self.source.parent / ".fetched").exists())

    def test_asks_for_a_mirror_where_a_source_is_missing(self):
        result = self.configure("-DKEL_DEBIAN_MIRROR=")
        self.assertNotEqual(result.returncode, 0)
        self.assertIn("KEL_DEBIAN_MIRROR", result.stderr)
        self.assertIn("pool/main/t/tiny/tiny_1.orig.tar.gz", " ".join(result.stderr.split()))

    def test_names_the_libraries_that_the_set_up_brings(self):
        setup = (ROOT / "scripts" / "setup").read_text()
        sources = re.search(r"windows_sources=\((.*?)\)", setup, re.S)[1].split()[::2]
        named = re.findall(r"^ {4}(\S+) (pool/\S+)\n {8}([0-9a-f]{64})\)?$", ARCHIVES.read_text(), re.M)
        folders = {folder for folder, _, _ in named}
        self.assertEqual(folders, {f"windows/{name}" for name in [*sources, "boost", "cli11", "utfcpp"]} |
                         {"cpp-httplib"})
        self.assertEqual(len(named), len(folders))

    def test_has_the_http_library_that_the_build_asks_for(self):
        wanted = (ROOT / "cmake" / "httplib.version").read_text().strip()
        found = re.search(r"cpp-httplib_([0-9.]+)\+", ARCHIVES.read_text())[1]
        self.assertGreaterEqual(*([int(part) for part in version.split(".")] for version in (found, wanted)))


if __name__ == "__main__":
    unittest.main()
