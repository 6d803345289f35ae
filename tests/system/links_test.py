#!/usr/bin/env python3
"""Runs every example script over both links, the simulated one and DoIP to the vehicle process: what comes
of it is the same but for times.

usage: links_test.py PROGRAM EXAMPLE_CONFIG FLASH_DATA VEHICLE_PROGRAM
"""

import collections
import concurrent.futures
import pathlib
import re
import sys
import tempfile
import unittest

from sequence_program import SequenceProgram
from vehicle_program import PORT, VehicleProcess

PROGRAM, EXAMPLES, FLASH_DATA, VEHICLE = (pathlib.Path(argument).resolve() for argument in sys.argv[1:5])
CAR, READER = "Car_DEMO0000000042", "VIN_Reader"
# Every vehicle information of every example project.
INFORMATIONS = {"VIT_A": CAR, "VIT_B": CAR, "DefaultVIT": READER}
SELECTION = re.compile(r'project="[^"]+" vehicleInformation="VIT_A"')
# What the examples do not do: a step that fails, a quick test that asks for no fault status.
OWN_SCRIPTS = {
    "Fail.xml": "<ExecuteAction command='Otx_Fail'/><ExecuteAction command='Otx_ReadIdent'/>",
    "NoStatus.xml": "<QuicktestAction reportName='NoStatus'><Target name='BRAKES' enabled='true'/>"
                    "<VehicleReport type='CVCR'><Service>SupportedDtcs</Service></VehicleReport>"
                    "</QuicktestAction>"}
IDENTIFIED, CLEARED = "procedure: Identification read", "procedure: Fault memories cleared"
FLASHED = "flash: ENGINE_APP ENGINE_DATA"
FAILED = ('procedure: procedure "Otx_Fail", step 1: expected 62 F1 90 58 *, '
          f"received 62 F1 90 {b'WKLDEMO0000000042'.hex(' ').upper()}")


def quick_test(read, faults):
    return f"quickTest: {read} control units read, {faults}"


# In the order in which they run: outcome, control units of the report that have answered, jobs.
EXPECTED = {
    ("Fail.xml", "VIT_A"): ("findings", None, [FAILED, IDENTIFIED]),
    ("NoStatus.xml", "VIT_A"): ("clean", "1 of 1", [quick_test("1 of 1", "faults not asked for")]),
    ("AllActions.xml", "VIT_A"): ("clean", "2 of 2", [quick_test("2 of 2", "2 faults"), FLASHED, IDENTIFIED]),
    ("AllActions.xml", "VIT_B"): ("clean", "2 of 2", [quick_test("2 of 2", "2 faults"), FLASHED, IDENTIFIED]),
    ("AllActions.xml", "DefaultVIT"): ("failed", "0 of 1", [quick_test("0 of 1", "0 faults")]),
    ("ButtonDemo.xml", "VIT_A"): ("clean", "3 of 3", [quick_test("3 of 3", "3 faults")]),
    ("ButtonDemo.xml", "VIT_B"): ("clean", "2 of 2", [quick_test("2 of 2", "2 faults")]),
    ("ButtonDemo.xml", "DefaultVIT"): ("clean", "1 of 1", [quick_test("1 of 1", "1 fault")]),
    ("ClearFaults.xml", "VIT_A"): ("clean", "3 of 3", [CLEARED, quick_test("3 of 3", "1 fault")]),
    ("ClearFaults.xml", "VIT_B"): ("clean", "2 of 2", [CLEARED, quick_test("2 of 2", "0 faults")]),
    ("ClearFaults.xml", "DefaultVIT"): ("failed", None, []),
    ("Demo.xml", "VIT_A"): ("clean", "3 of 3", [quick_test("3 of 3", "1 fault"), IDENTIFIED]),
    ("Demo.xml", "VIT_B"): ("clean", "2 of 2", [quick_test("2 of 2", "0 faults"), IDENTIFIED]),
    ("Demo.xml", "DefaultVIT"): ("failed", "1 of 1", [quick_test("1 of 1", "0 faults")]),
    ("Flash.xml", "VIT_A"): ("clean", "3 of 3", [FLASHED, quick_test("3 of 3", "1 fault")]),
    ("Flash.xml", "VIT_B"): ("clean", "2 of 2", [FLASHED, quick_test("2 of 2", "0 faults")]),
    ("Flash.xml", "DefaultVIT"): ("failed", None, []),
}
# The sessions of each of four flashes.
BLOCKS = 4 * (25 + 4)

TIME_IN_NAME = re.compile(r"^\d{8}_\d{6}_")
TIME_IN_REPORT = re.compile(r'<time datetime="[^"]*">[^<]*</time>')
# Told once a second.
PROGRESS = re.compile(r"^\d+% of Flashsession \w+ done$")
MESSAGE = re.compile(r" debug kel_cpp/bus/BusTrace:\d+ (?P<link>\S+) 0x(?P<tester>[0-9A-F]{4}) (?P<way>[<>]) "
                     r"0x(?P<unit>[0-9A-F]{4})  (?P<said>.*)$", re.MULTILINE)
# Sent when time has passed, or as often as a busy machine needs: TesterPresent, response pending.
BY_TIME = re.compile(r"^(3E|7E|7F [0-9A-F]{2} 78)\b")
# A fingerprint has the date.
DATE = re.compile(r"^(2E F1 5A)( [0-9A-F]{2}){3}")

Result = collections.namedtuple("Result", "outcome answered jobs whole report vehicle connections")


def without_times(value):
    """Of an answer of the program. Numbers of texts count the progress of a flash, too."""
    if isinstance(value, list):
        return [without_times(entry) for entry in value]
    if isinstance(value, dict):
        return {key: without_times(entry) for key, entry in value.items()
                if key not in ("begin", "end", "time", "number")}
    return value


def comparable(run):
    assert run["end"] and run["statusesLeftOut"] == 0, run
    return {**without_times(run), "client": "the test's",
            "reports": [TIME_IN_NAME.sub("", name) for name in run["reports"]],
            "statuses": [entry["text"] for entry in run["statuses"]
                         if not PROGRESS.match(entry["text"])]}


def told(job):
    """The sessions of a flash that went well, else what the job says at its end."""
    sessions = " ".join(item["name"] for item in job["items"] if item["passed"])
    text = sessions if job["kind"] == "flash" else job["summary"]
    return f"{job['kind']}: {text}"


class Link:
    """All sequences, one after the other, on a vehicle that nobody has used."""

    def __init__(self, name, folder, doip=None):
        self.name = name
        folder.mkdir()
        self.program = SequenceProgram(folder, PROGRAM, EXAMPLES, FLASH_DATA, doip)

    def run(self):
        self.program.start()
        try:
            self.results = {case: self.result(self.program, *case) for case in EXPECTED}
        finally:
            self.exit_code = self.program.end()
        self.messages = messages(self.program.traces())

    def result(self, program, script, information):
        run = program.run(self.script(program, script, information))
        report = program.report(run["reports"][0]) if run["reports"] else ""
        answered, = re.findall(r"<dt>Answered</dt><dd>([^<]*)</dd>", report) or [None]
        return Result(run["outcome"], answered, [told(job) for job in run["jobs"]], comparable(run),
                      TIME_IN_REPORT.sub("", report), self.without_name(program.client.result("vehicle.get")),
                      self.without_name(program.client.result("connections.list")[1:]))

    def script(self, program, name, information):
        """The example as it is, or one that selects another vehicle information."""
        if name in OWN_SCRIPTS:
            program.add_script(name, f"<KelServerScript><SelectAction project='{CAR}' autoConnect='true' "
                                     f"vehicleInformation='VIT_A'/>{OWN_SCRIPTS[name]}</KelServerScript>")
        elif information != "VIT_A":
            text, count = SELECTION.subn(f'project="{INFORMATIONS[information]}" '
                                         f'vehicleInformation="{information}"', program.script(name))
            assert count == 1, name
            name = f"{information}_{name}"
            program.add_script(name, re.sub('reportName="', f'reportName="{information}_', text))
        return name

    def without_name(self, answer):
        return repr(answer).replace(self.name, "the link")


def messages(traces):
    """What each control unit was asked and said, in order."""
    of_units = collections.defaultdict(list)
    for message in MESSAGE.finditer(traces):
        if not BY_TIME.match(message["said"]):
            of_units[message["link"], message["unit"], message["tester"]].append(
                message["way"] + DATE.sub(r"\1 date", message["said"]))
    return of_units


class LinksTest(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        with tempfile.TemporaryDirectory() as name, VehicleProcess(VEHICLE, EXAMPLES / "vehicle.xml") as vehicle, \
                concurrent.futures.ThreadPoolExecutor() as threads:
            folder = pathlib.Path(name).resolve()
            cls.simulation = Link("Simulation", folder / "simulation")
            cls.network = Link("DoIP", folder / "network", (vehicle.address, PORT))
            for ran in [threads.submit(link.run) for link in (cls.simulation, cls.network)]:
                ran.result()
            cls.vehicle_exit_code = vehicle.end()
            cls.vehicle_log = vehicle.log()

    def assert_equal_results(self, field):
        for case, result in self.simulation.results.items():
            with self.subTest(case):
                self.assertEqual(getattr(self.network.results[case], field), getattr(result, field))

    def test_every_example_script_runs_with_every_vehicle_information(self):
        scripts = {file.name for file in (EXAMPLES / "KelServerScripts").iterdir()}
        projects = {file.parent.name: file.read_text(encoding="utf-8")
                    for file in (EXAMPLES / "projects").glob("*/project.xml")}
        informations = {name: project for project, text in projects.items()
                        for name in re.findall('<VehicleInformation name="([^"]*)"', text)}

        self.assertEqual(informations, INFORMATIONS)
        self.assertEqual(set(EXPECTED), {(script, name) for script in scripts for name in informations}
                         | {(script, "VIT_A") for script in OWN_SCRIPTS})

    def test_each_run_does_what_it_should(self):
        for link in (self.simulation, self.network):
            for case, expected in EXPECTED.items():
                with self.subTest(f"{case} over {link.name}"):
                    result = link.results[case]
                    self.assertEqual((result.outcome, result.answered, result.jobs), expected)

    def test_the_runs_are_equal(self):
        self.assert_equal_results("whole")

    def test_the_reports_are_equal(self):
        self.assertEqual(sum(bool(result.report) for result in self.network.results.values()), 14)
        self.assert_equal_results("report")

    def test_the_vehicle_is_left_alike(self):
        self.assert_equal_results("vehicle")
        self.assert_equal_results("connections")

    def test_the_control_units_are_asked_and_answer_alike(self):
        of_units = self.simulation.messages
        self.assertEqual({unit for _, unit, _ in of_units}, {"0010", "0011", "0012"})
        self.assertEqual(sum("TransferData (0x36) done" in message
                             for message in of_units["UDS_CAN_ENGINE", "0011", "0E80"]), BLOCKS)
        self.assertEqual(self.network.messages, of_units)

    def test_only_one_of_the_links_leads_to_the_vehicle_process(self):
        self.assertIn("the link", self.network.results["Demo.xml", "VIT_A"].vehicle)
        self.assertEqual(self.vehicle_log.count("0x0E80 > 0x0011 36 "), BLOCKS)

    def test_all_programs_end_well(self):
        self.assertEqual((self.simulation.exit_code, self.network.exit_code, self.vehicle_exit_code),
                         (0, 0, 0))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
