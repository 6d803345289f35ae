#!/usr/bin/env python3
"""Runs the program with the capture of the bus and has tshark, of Wireshark, read what it wrote.

usage: capture_test.py PROGRAM EXAMPLE_CONFIG FLASH_DATA TSHARK
"""

import collections
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

from dissection import PATIENCE, Dissection
from installed_program import edit, held_port, install, wait_for_line

PROGRAM, EXAMPLES, FLASH_DATA = (pathlib.Path(argument).resolve() for argument in sys.argv[1:4])
TSHARK = sys.argv[4]
# All that asks a control unit: a quick test, a procedure, an unlock, a download.
SCRIPT = """<KelServerScript>
  <SelectAction project='AUTO_SELECT' vehicleInformation='VIT_A' autoConnect='true'/>
  <UnlockAction><Unlock name='UnlockGateway' parameter='level1'/></UnlockAction>
  <QuicktestAction reportName='Captured'><DtcStatus>Confirmed</DtcStatus>
    <VehicleReport type='SWT_Initial'><Service>IdentValues</Service><Service>CurrentDtcs</Service>
    </VehicleReport></QuicktestAction>
  <ExecuteAction command='Otx_ReadIdent'/>
  <FlashingAction><Item>ENGINE</Item></FlashingAction>
</KelServerScript>"""
# One line of the trace: link, addresses, direction, and so much of the bytes as it shows.
MESSAGE = re.compile(r" debug kel_cpp/bus/BusTrace:\d+ \S+ 0x(?P<tester>[0-9A-F]{4}) (?P<way>[<>]) "
                     r"0x(?P<unit>[0-9A-F]{4})  (?P<bytes>[0-9A-F]{2}(?: [0-9A-F]{2})*)(?: |$)",
                     re.MULTILINE)
SHOWN = 64
# Of the diagnostic message that carries the bytes.
HEADER = 12


def run_captured(folder):
    """Until the start sequence has ended."""
    install(folder, PROGRAM, EXAMPLES, keeps_start_sequence=True)
    shutil.copytree(FLASH_DATA, folder / "config" / "data" / "flashdata", dirs_exist_ok=True)
    settings = folder / "config" / "KelServer.xml"
    edit(settings, "<StartSequence>[^<]*<", "<StartSequence>Captured.xml<")
    edit(settings, '<Tracing enabled="true" level="3"/>',
         '<Tracing enabled="true" level="4" bus="true"/>')
    (folder / "config" / "KelServerScripts" / "Captured.xml").write_text(SCRIPT, encoding="utf-8")
    with held_port() as holder:
        process = subprocess.Popen(
            [folder / PROGRAM.name, "127.0.0.1", str(holder.getsockname()[1])],
            cwd=folder, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        try:
            # The last line that does not wait for the next one.
            wait_for_line(process.stdout, b"Press F2")
            process.communicate(b"q", timeout=PATIENCE)
        finally:
            process.kill()
    assert process.returncode == 0, process.returncode
    return folder / "config" / "traces"


class CaptureTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        scratch = tempfile.TemporaryDirectory()
        cls.addClassCleanup(scratch.cleanup)
        traces = run_captured(pathlib.Path(scratch.name))
        cls.dissection = Dissection(TSHARK, traces / "bus.pcapng")
        cls.trace = (traces / "kel_server.log").read_text(encoding="utf-8")

    def test_has_nothing_that_wireshark_objects_to(self):
        self.assertEqual(self.dissection.complaints(), [])

    def test_has_every_message_of_the_bus_trace_with_both_addresses(self):
        traced = collections.Counter()
        for message in MESSAGE.finditer(self.trace):
            ends = [message["tester"].lower(), message["unit"].lower()]
            source, target = ends if message["way"] == ">" else reversed(ends)
            traced[(source, target, message["bytes"].lower().replace(" ", ""))] += 1

        captured = collections.Counter()
        for source, target, whole in self.dissection.fields(
                "doip.source_address", "doip.target_address", "exported_pdu.exported_pdu"):
            content = whole.replace(":", "")[2 * HEADER:]
            captured[(source.removeprefix("0x"), target.removeprefix("0x"),
                      content[:2 * SHOWN])] += 1

        self.assertGreater(sum(captured.values()), 100)
        self.assertEqual(captured, traced)

    def test_shows_each_message_as_the_service_that_it_is(self):
        shown = self.dissection.lines("-T", "fields", "-e", "_ws.col.Protocol", "-e", "_ws.col.Info")

        self.assertEqual({line.split("\t")[0] for line in shown}, {"UDS"})
        for service in ("Diagnostic Session Control", "Read Data By Identifier",
                        "Read DTC Information", "Security Access", "Request Download",
                        "Transfer Data", "Request Transfer Exit", "Routine Control"):
            for direction in ("Request", "Reply"):
                self.assertTrue(any(direction in line and service in line for line in shown),
                                f"{direction} {service}")

    def test_has_the_messages_in_the_order_of_their_times(self):
        times = [float(time) for (time,) in self.dissection.fields("frame.time_epoch")]

        self.assertEqual(times, sorted(times))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
