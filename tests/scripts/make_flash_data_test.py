#!/usr/bin/env python3
"""What scripts/make-flash-data makes is the same every time and what the example project says."""

import pathlib
import subprocess
import tempfile
import unittest
import xml.etree.ElementTree
import zipfile
import zlib

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
PROJECT = ROOT / "examples" / "config" / "projects" / "Car_DEMO0000000042" / "project.xml"


def make(folder):
    subprocess.run([ROOT / "scripts" / "make-flash-data", folder], check=True)
    return {file.name: file.read_bytes() for file in pathlib.Path(folder).iterdir()}


class MakeFlashData(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.files = make(self.folder / "first")

    def test_makes_the_same_bytes_every_time(self):
        self.assertEqual(make(self.folder / "second"), self.files)

    def test_makes_every_file_of_the_example_project_with_its_size_and_checksum(self):
        sessions = xml.etree.ElementTree.parse(PROJECT).findall("FlashItem/Session")
        self.assertEqual(len(sessions), 2)
        for session in sessions:
            content = self.files[session.get("file")]
            self.assertEqual(len(content), int(session.get("size")))
            self.assertEqual(zlib.crc32(content), int(session.get("checksum"), 16))

    def test_packs_the_same_files_into_a_container(self):
        with zipfile.ZipFile(self.folder / "first" / "engine.pdx") as container:
            self.assertEqual(container.namelist(),
                             ["index.xml", "engine_app.bin", "engine_data.bin"])
            self.assertEqual(container.read("engine_app.bin"), self.files["engine_app.bin"])

    def test_explains_itself_without_a_folder(self):
        run = subprocess.run([ROOT / "scripts" / "make-flash-data"], capture_output=True, text=True)
        self.assertNotEqual(run.returncode, 0)
        self.assertIn("usage: scripts/make-flash-data FOLDER", run.stderr)


if __name__ == "__main__":
    unittest.main()
