#!/usr/bin/env python3
"""kelctl script run --dry-run: walks scripts without a server. See kelctl_program.py for the arguments."""

import contextlib
import os
import pathlib
import re
import shutil
import signal
import subprocess
import tempfile
import unittest

from kelctl_program import (CANCELLED, DONE, EMULATOR, EXAMPLES, FINDINGS, FLASH_DATA, IS_WINDOWS, KELCTL,
                            PATIENCE, REFUSED, WRONG_USAGE, command, kelctl)

CAR = "Car_DEMO0000000042"
VIN = "WKLDEMO0000000042"
SCRIPTS = "KelServerScripts"
SELECT = f'<SelectAction project="{CAR}" vehicleInformation="VIT_A" autoConnect="true"/>'


def snapshot(folder):
    """Each entry below the folder with its content and the time of its last change."""
    return {path.relative_to(folder).as_posix():
            (path.read_bytes() if path.is_file() else None, path.stat().st_mtime_ns)
            for path in sorted(folder.rglob("*"))}


class DryRunTest(unittest.TestCase):
    """A user with a configuration folder, a working folder, a home and a folder for temporary files."""

    def setUp(self):
        stack = contextlib.ExitStack()
        self.addCleanup(stack.close)
        base = pathlib.Path(stack.enter_context(tempfile.TemporaryDirectory()))
        self.base = base / "user"
        self.config, self.work, self.home = (self.base / name for name in ("config", "work", "home"))
        shutil.copytree(EXAMPLES, self.config)
        shutil.copytree(FLASH_DATA, self.config / "data" / "flashdata")
        self.temporary = base / "temporary"
        for folder in (self.work, self.home, self.temporary):
            folder.mkdir()
        self.environment = {"HOME": str(self.home), "TMPDIR": str(self.temporary)}

    def run_script(self, script, *arguments):
        return kelctl("script", "run", script, "--dry-run", "--config", self.config, *arguments, cwd=self.work,
                      **self.environment)

    def write_script(self, name, *actions):
        (self.config / SCRIPTS / name).write_text(f"<KelServerScript>\n{chr(10).join(actions)}\n</KelServerScript>")

    def write_procedure(self, name, steps):
        """In the project of the car, on offer in VIT_A."""
        self.replace(f"projects/{CAR}/project.xml",
                     '<Procedure name="Otx_Fail"/>', f'<Procedure name="Otx_Fail"/><Procedure name="{name}"/>')
        self.replace(f"projects/{CAR}/project.xml", "<Identification>",
                     f'<Procedure name="{name}">{steps}</Procedure><Identification>')

    def replace(self, name, text, replacement):
        file = self.config / name
        content = file.read_text("utf-8")
        self.assertIn(text, content)
        file.write_text(content.replace(text, replacement, 1), "utf-8")

    def left_behind(self):
        return [path.name for path in self.temporary.iterdir()]

    def check(self, result, code, *texts):
        """The texts occur one after the other."""
        self.assertEqual(result.code, code, result.out + result.err)
        place = 0
        for text in texts:
            self.assertIn(text, result.out[place:])
            place = result.out.index(text, place) + len(text)


class Examples(DryRunTest):
    def test_the_demo_is_told_step_by_step(self):
        result = self.run_script("Demo.xml")
        self.check(result, DONE, "Dry run of ", "Demo.xml", VIN, "control units  GATEWAY, ENGINE, BRAKES\n",
                   "status   Running sequence: Demo.xml", "LED      blue (0, 0, 255)",
                   "\nStep 1 of 3, line 5: SelectAction\n", "by the car's VIN",
                   f"status   Selecting project {CAR}", "status   Idle",
                   "\nStep 2 of 3, line 6: QuicktestAction\n",
                   "result   quick test VIT_A passed: 3 of 3 control units read, 4 faults", "ENGINE: 2 faults",
                   "\nStep 3 of 3, line 15: ExecuteAction\n", '"Otx_ReadIdent"',
                   "result   procedure Otx_ReadIdent passed: Identification read",
                   "LED      green (0, 255, 0)", "status   Idle", "\nOutcome: clean\nReport:  ")
        self.assertNotIn("ReadDataByIdentifier", result.out)
        self.assertEqual(result.err, "")
        self.assertTrue(all(len(line) <= 80 or "/" in line or "\\" in line for line in result.out.splitlines()), result.out)

    def test_every_example_runs_clean(self):
        for script in sorted((EXAMPLES / SCRIPTS).glob("*.xml")):
            with self.subTest(script.name):
                self.check(self.run_script(script.name), DONE, "Outcome: clean")

    def test_every_example_runs_clean_with_a_vehicle_made_from_its_projects(self):
        (self.config / "vehicle.xml").unlink()
        for script in sorted((EXAMPLES / SCRIPTS).glob("*.xml")):
            with self.subTest(script.name):
                self.check(self.run_script(script.name, "--derive-vehicle"), DONE,
                           "derived from the projects of the script, VIN SIMDEMO0000000042",
                           f"Selecting project {CAR}", "Outcome: clean")

    def test_a_report_stays_for_its_reader(self):
        result = self.run_script("Demo.xml")
        report, = re.findall(r"^Report:  (.*)$", result.out, re.MULTILINE)
        self.assertTrue(report.endswith("_Initial.html"), report)
        if not IS_WINDOWS:
            self.assertIn(VIN, pathlib.Path(report).read_text("utf-8"))
            self.assertEqual(pathlib.Path(report).parents[2], self.temporary)
            folder, = self.temporary.iterdir()
            self.assertEqual(folder.stat().st_mode & 0o777, 0o700)

    def test_the_exchanges_are_shown_when_asked_for(self):
        self.check(self.run_script("Flash.xml", "-v"), DONE,
                   "GATEWAY  > 22 F1 90  ReadDataByIdentifier (0x22)\n", "GATEWAY  < 62 F1 90 57 4B 4C 44",
                   "ENGINE   > 31 01 FF 00 44 00 01 00 00 00 01 86 A0  RoutineControl (0x31)\n",
                   "ENGINE   < 7F 31 78  request correctly received, response pending (0x78)\n",
                   "ENGINE   < 71 01 FF 00 00\n",
                   "ENGINE   > 36 ...  TransferData (0x36), 25 blocks with 100000 bytes, each accepted\n",
                   "ENGINE   > 37  RequestTransferExit (0x37)\n", "BRAKES   < 7F 22 31  request out of range (0x31)\n")

    def test_a_wait_is_not_waited_for(self):
        self.write_procedure("Otx_Hour", '<Wait milliseconds="3600000"/>')
        self.write_script("Hour.xml", SELECT, '<ExecuteAction command="Otx_Hour"/>')
        self.check(self.run_script("Hour.xml"), DONE, "3600.", "procedure Otx_Hour passed")


class Places(DryRunTest):
    def test_nothing_is_written_outside_the_folder_for_temporary_files(self):
        before = snapshot(self.base)
        for script in ("AllActions.xml", "Missing.xml"):
            self.run_script(script, "-v")
            self.run_script(script, "--derive-vehicle", "--fault", "ENGINE:36=lost")
        self.assertEqual(snapshot(self.base), before)

    def test_the_folder_for_temporary_files_is_left_empty_without_a_report(self):
        self.write_script("NoReport.xml", SELECT, '<ExecuteAction command="Otx_ReadIdent"/>')
        result = self.run_script("NoReport.xml")
        self.check(result, DONE, "Outcome: clean\n")
        self.assertNotIn("Report:", result.out)
        self.assertEqual(self.left_behind(), [])

    def test_nothing_is_written_beside_the_program(self):
        program = self.base / "program"
        program.mkdir()
        copy = shutil.copy(KELCTL, program)
        before = snapshot(program)
        done = subprocess.run([*EMULATOR, str(copy), "script", "run", "AllActions.xml", "--dry-run", "--config",
                               str(self.config)], cwd=self.work, timeout=PATIENCE, check=False,
                              capture_output=True, env={**os.environ, **self.environment})
        self.assertIn(b"Outcome: ", done.stdout)
        self.assertEqual(snapshot(program), before)

    def test_two_at_once_have_a_folder_each(self):
        with subprocess.Popen(command("script", "run", "Demo.xml", "--dry-run", "--config", self.config),
                              cwd=self.work, stdout=subprocess.PIPE, encoding="utf-8",
                              env={**os.environ, **self.environment}) as other:
            result = self.run_script("Demo.xml")
            out, _ = other.communicate(timeout=PATIENCE)
        self.check(result, DONE, "Outcome: clean")
        self.assertEqual(other.returncode, DONE, out)
        reports = {re.findall(r"^Report:  (.*)$", text, re.MULTILINE)[0] for text in (result.out, out)}
        self.assertEqual(len(reports), 2)
        if not IS_WINDOWS:
            self.assertEqual({pathlib.Path(report).parents[1].name for report in reports}, set(self.left_behind()))
            self.assertTrue(all(pathlib.Path(report).is_file() for report in reports))

    def test_the_paths_that_are_told_hold_in_any_folder(self):
        self.environment["TMPDIR"] = os.path.relpath(self.temporary, self.work)
        result = kelctl("script", "run", "Demo.xml", "--dry-run", "--config", os.path.relpath(self.config, self.work),
                        cwd=self.work, **self.environment)
        self.check(result, DONE, "configuration  ", "Report:  ")
        configuration, = re.findall(r"^  configuration  (.*)$", result.out, re.MULTILINE)
        report, = re.findall(r"^Report:  (.*)$", result.out, re.MULTILINE)
        if not IS_WINDOWS:
            self.assertTrue(os.path.samefile(configuration, self.config), configuration)
            self.assertTrue(os.path.isabs(configuration), configuration)
            self.assertEqual(pathlib.Path(report).parents[2], self.temporary)
            self.assertTrue(pathlib.Path(report).is_file(), report)

    @unittest.skipIf(IS_WINDOWS, "the folder is named by another variable, which programs need")
    def test_a_missing_folder_for_temporary_files_is_told_of(self):
        self.temporary.rmdir()
        result = self.run_script("Demo.xml")
        self.check(result, REFUSED)
        self.assertRegex(result.err,
                         r"cannot make a folder in the one for temporary files: .+ \(\d+\)\n")
        self.assertNotIn("filesystem error", result.err)

    @unittest.skipIf(IS_WINDOWS, "a folder in use cannot be removed")
    def test_a_missing_working_folder_is_told_of(self):
        shell = 'rmdir "$PWD" && exec "$@"'
        done = subprocess.run(["sh", "-c", shell, "sh", *command("script", "run", "Demo.xml", "--dry-run")],
                              cwd=self.work, timeout=PATIENCE, check=False, capture_output=True,
                              encoding="utf-8", env={**os.environ, **self.environment})
        self.assertEqual(done.returncode, REFUSED, done.stdout)
        self.assertRegex(done.stderr, r"\Akelctl: .*working folder is not known: .+ \(\d+\)\n\Z")
        self.assertIn("cannot tell where 'Demo.xml' is, as the working folder is not known: ", done.stderr)

    def test_a_script_by_its_path_has_the_configuration_around_it(self):
        result = kelctl("script", "run", self.config / SCRIPTS / "Demo.xml", "--dry-run", cwd=self.work,
                        **self.environment)
        self.check(result, DONE, "configuration  ", "config\n", "Outcome: clean")

    def test_a_script_of_the_working_folder_comes_first_as_on_the_server(self):
        (self.work / "Demo.xml").write_text(f"<KelServerScript>{SELECT}</KelServerScript>")
        self.check(self.run_script("Demo.xml"), DONE, "Step 1 of 1, line 1: SelectAction", "Outcome: clean")

    def test_the_folders_of_the_settings_are_used(self):
        (self.config / "projects").rename(self.base / "other & projects")
        (self.config / "data").rename(self.base / "other data")
        self.replace("KelServer.xml", "<Projects>projects<", "<Projects>../other &amp; projects<")
        self.replace("KelServer.xml", "<Data>data<", "<Data>../other data<")
        self.check(self.run_script("Flash.xml"), DONE, "flash item ENGINE passed", "Outcome: clean")

    def test_a_server_that_cannot_reach_a_car_has_no_say(self):
        self.replace("KelServer.xml", '<Interface name="Simulation" enabled="true"/>',
                     '<Interface name="CarBox" enabled="true"/>')
        self.check(self.run_script("Demo.xml"), DONE, "Outcome: clean")

    def test_a_folder_without_settings_is_told_of(self):
        (self.config / "KelServer.xml").unlink()
        self.check(self.run_script("Demo.xml"), DONE, "no KelServer.xml: defaults are used", "Outcome: clean")


class Outcomes(DryRunTest):
    def test_a_missing_script_has_failed(self):
        result = self.run_script("Missing.xml")
        self.check(result, REFUSED, "console  File not found: ", "Missing.xml", "failed: there is no such script")
        self.assertEqual(self.left_behind(), [])

    def test_a_script_that_the_server_would_not_load_is_a_finding(self):
        (self.config / SCRIPTS / "Bad.xml").write_text("<KelServerScript>\n <SelectAction")
        self.check(self.run_script("Bad.xml"), FINDINGS, "LED      green", "would not load the script: ", "Bad.xml:2:",
                   "Outcome: findings: the server would do nothing, and yet end like after a success")

    def test_a_script_with_another_root_is_a_finding(self):
        (self.config / SCRIPTS / "Other.xml").write_text("<Script/>")
        self.check(self.run_script("Other.xml"), FINDINGS, "LED      green", "no root element 'KelServerScript'",
                   "Outcome: findings")

    def test_a_script_that_the_runtime_stops_has_failed(self):
        self.write_script("Fails.xml", SELECT, '<ExecuteAction command="Otx_None"/>', "<UnlockAction/>", SELECT)
        result = self.run_script("Fails.xml")
        self.check(result, REFUSED, "Step 2 of 4, line 3: ExecuteAction", "status   Exception caught: ",
                   "steps not begun: 2", "LED      red (255, 0, 0)", "Outcome: failed\n")
        self.assertNotIn("Step 3", result.out)

    def test_a_procedure_that_fails_is_a_finding(self):
        self.write_script("Finds.xml", SELECT, '<ExecuteAction command="Otx_Fail"/>')
        self.check(self.run_script("Finds.xml"), FINDINGS, "procedure Otx_Fail failed: ", "LED      green",
                   "Outcome: findings: something failed, though the script went on")

    def test_a_failure_after_a_thousand_results_is_a_finding(self):
        self.write_procedure("Otx_None", "")
        self.write_script("Many.xml", SELECT, *['<ExecuteAction command="Otx_None"/>'] * 1000,
                          '<ExecuteAction command="Otx_Fail"/>', '<ExecuteAction command="Otx_None"/>')
        result = self.run_script("Many.xml")
        self.check(result, FINDINGS, "Step 1002 of 1003", "procedure Otx_Fail failed: ", "Outcome: findings")
        self.assertEqual(result.out.count("result   procedure "), 1002)

    def test_an_unlock_that_fails_is_a_finding(self):
        self.write_script("Unlock.xml", SELECT, '<UnlockAction><Unlock name="None" parameter="p"/></UnlockAction>')
        self.check(self.run_script("Unlock.xml"), FINDINGS, "console  Exception caught: unlock", "LED      green",
                   "Outcome: findings: a failure that the server only tells its console")

    def test_a_car_that_fits_no_project_is_a_finding(self):
        self.write_script("Auto.xml", SELECT.replace(CAR, "AUTO_SELECT"))
        shutil.rmtree(self.config / "projects" / CAR)
        self.check(self.run_script("Auto.xml"), FINDINGS, "no project fits the car", "LED      green",
                   "Outcome: findings: no project was selected")

    def test_an_unknown_action_is_skipped(self):
        self.write_script("Skips.xml", SELECT, "<DanceAction/>", '<ExecuteAction enabled="0" command="Otx_Fail"/>')
        self.check(self.run_script("Skips.xml"), DONE, "Step 2 of 3, line 3: unknown action", "skips it",
                   "Step 3 of 3, line 4: ExecuteAction", "Is disabled", "Outcome: clean")

    def test_an_unlock_is_held_while_the_time_passes(self):
        self.write_procedure("Otx_Write", '<Wait milliseconds="60000"/><Request link="UDS_CAN_D" '
                             'send="2E F1 5A 01 02 03 04" expect="6E F1 5A"/>')
        unlock = '<UnlockAction><Unlock name="UnlockGateway" parameter="level1"/></UnlockAction>'
        self.write_script("Held.xml", SELECT, unlock, '<ExecuteAction command="Otx_Write"/>')
        self.write_script("Locked.xml", SELECT, '<ExecuteAction command="Otx_Write"/>')
        self.check(self.run_script("Held.xml", "-v"), DONE, "GATEWAY  > 3E 80  keeps the unlock",
                   "GATEWAY  < 6E F1 5A", "Outcome: clean")
        self.check(self.run_script("Locked.xml", "-v"), FINDINGS, "GATEWAY  < 7F 2E ", "Outcome: findings")

    def test_a_step_waits_out_a_delay_and_another_wants_no_answer(self):
        self.write_procedure("Otx_Patient", '<Request link="UDS_CAN_D" send="22 F1 90" expect="62 F1 90 *" waitOutDelay="9"/>'
                             '<Request link="UDS_CAN_D" send="3E 80" expect="none"/>')
        self.write_script("Patient.xml", SELECT, '<ExecuteAction command="Otx_Patient"/>')
        delay = ("--fault", "GATEWAY:22 F1 90=7F 22 37 x")
        for times, code, words in (("3", DONE, "Outcome: clean"), ("99", FINDINGS, "required time delay not expired (0x37)")):
            self.check(self.run_script("Patient.xml", "-v", delay[0], delay[1] + times), code, words)
        self.check(self.run_script("Patient.xml", "-v", "--derive-vehicle", "--fault", "GATEWAY:3E 80=7F 3E 13"), FINDINGS,
                   "expected no answer, received 7F 3E 13")

    def test_the_simulated_car_stands_in_for_any_interface(self):
        self.replace(f"projects/{CAR}/project.xml", 'link="UDS_CAN_BRAKES"', 'link="UDS_CAN_BRAKES" interface="DoIP"')
        self.write_script("Other.xml", SELECT, '<ExecuteAction command="Otx_ReadIdent"/>')
        self.check(self.run_script("Other.xml"), DONE, "Outcome: clean")

    def test_nothing_is_kept_alive_without_an_unlock(self):
        self.write_script("Auto.xml", SELECT.replace(CAR, "AUTO_SELECT"), '<ExecuteAction command="Otx_ReadIdent"/>')
        result = self.run_script("Auto.xml", "-v", "--fault", "GATEWAY:22=7F 22 78", "--fault", "GATEWAY:3E 80=7F 3E 11")
        self.assertRegex(result.out, r"(?m)^ *[2-9]\d*\.\d{3} s ")
        self.assertIn("never happened: GATEWAY:3E 80=7F 3E 11", result.out)
        self.assertNotIn("> 3E 80", result.out)

    def interrupted(self, script):
        """What it says to a signal that comes while "Otx_Years" runs."""
        self.write_procedure("Otx_Years", '<Wait milliseconds="86400000"/>' * 1000)
        # A signal that is ignored where the tests run would stay ignored.
        with subprocess.Popen(command("script", "run", script, "--dry-run", "--config", self.config),
                              cwd=self.work, stdout=subprocess.PIPE, encoding="utf-8",
                              env={**os.environ, **self.environment},
                              preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL)) as process:
            try:
                for line in process.stdout:
                    if "Running execute action" in line:
                        break
                process.send_signal(signal.SIGINT)
                rest, _ = process.communicate(timeout=PATIENCE)
            finally:
                process.kill()
        self.assertEqual(process.returncode, CANCELLED, rest)
        return rest

    @unittest.skipIf(IS_WINDOWS, "a signal reaches one process on Linux only")
    def test_a_signal_cancels_as_the_server_does(self):
        self.write_script("Long.xml", SELECT, '<ExecuteAction command="Otx_Years"/>', SELECT)
        rest = self.interrupted("Long.xml")
        for text in ("stopped by a signal", "Running cancel sequence", "Otx_Years cancelled", "Outcome: cancelled"):
            self.assertIn(text, rest)
        self.assertNotIn("Step 3", rest)
        self.assertEqual(self.left_behind(), [])

    @unittest.skipIf(IS_WINDOWS, "a signal reaches one process on Linux only")
    def test_a_report_stays_also_after_a_signal(self):
        self.replace(f"{SCRIPTS}/Demo.xml", 'command="Otx_ReadIdent"', 'command="Otx_Years"')
        report, = re.findall(r"^Report:  (.*)$", self.interrupted("Demo.xml"), re.MULTILINE)
        self.assertIn(VIN, pathlib.Path(report).read_text("utf-8"))


class Faults(DryRunTest):
    def test_a_unit_that_says_no_shows_what_the_script_does(self):
        self.check(self.run_script("Demo.xml", "-v", "--fault", "ENGINE:22 F1 90=7F 22 31"), FINDINGS,
                   "planned fault  ENGINE:22 F1 90=7F 22 31\n",
                   "ENGINE   > 22 F1 90  ReadDataByIdentifier (0x22)\n",
                   "ENGINE   < 7F 22 31  request out of range (0x31)\n",
                   "procedure Otx_ReadIdent failed: ", "Outcome: findings")

    def test_a_silent_unit_is_shown(self):
        self.check(self.run_script("Demo.xml", "-v", "--fault", "BRAKES:22 F1 87="),
                   DONE, "BRAKES   < no answer to 22 F1 87", "quick test VIT_A failed: 2 of 3 control units read")

    def test_a_lost_link_is_shown_and_ends_the_connection(self):
        self.check(self.run_script("Demo.xml", "-v", "--fault", "UDS_CAN_ENGINE:19=lost"),
                   REFUSED, "ENGINE   ! the connection to ENGINE",
                   "quick test VIT_A failed: 0 of 3 control units read", "BRAKES: the connection to ENGINE", "is lost: the connection to ENGINE")

    def test_a_fault_ends_after_its_times_and_begins_after_normal_answers(self):
        result = self.run_script("Flash.xml", "-v", "--fault", "ENGINE:36=7F 36 72 x1 @5")
        self.check(result, FINDINGS, "5 blocks with 20470 bytes, each accepted", "> 36 06 ", "... (4096 bytes)",
                   "< 7F 36 72  general programming failure (0x72)", "flash item ENGINE failed")
        self.assertNotIn("never happened", result.out)

    def test_a_fault_that_never_happens_is_told_of(self):
        result = self.run_script("Demo.xml", "--fault", "ENGINE:99=", "--fault", "BRAKES:22 F1 87=7F 22 31")
        self.check(result, DONE, "this planned fault never happened: ENGINE:99=\n")
        self.assertEqual(result.out.count("never happened"), 1)

    def test_a_fault_goes_into_a_derived_vehicle_too(self):
        self.check(self.run_script("Demo.xml", "--derive-vehicle", "--fault", "GATEWAY:22 F1 90=lost"), REFUSED,
                   "no project fits the car", "Outcome: failed")

    def test_a_malformed_fault_is_wrong_usage(self):
        result = self.run_script("Demo.xml", "--fault", "ENGINE:22 F=7F")
        self.check(result, WRONG_USAGE)
        self.assertIn("'F' is not made of bytes", result.err)
        self.assertEqual(result.out, "")

    def test_an_unknown_unit_is_wrong_usage(self):
        result = self.run_script("Demo.xml", "--fault", "MOTOR:22=")
        self.check(result, WRONG_USAGE)
        self.assertIn("'MOTOR', which the vehicle does not have; it has: GATEWAY, ENGINE, BRAKES", result.err)


class Usage(DryRunTest):
    def test_a_vehicle_of_ones_own_is_used(self):
        own = self.work / "own.xml"
        content = (EXAMPLES / "vehicle.xml").read_text("utf-8")
        own.write_text(content.replace("EN-0815-300", "EN-OWN"), "utf-8")
        self.check(self.run_script("Demo.xml", "--vehicle", "own.xml", "-v"), DONE, "vehicle        own.xml, VIN",
                   "62 F1 87 45 4E 2D 4F 57 4E\n", "Outcome: clean")

    def test_a_missing_vehicle_file_is_wrong_usage(self):
        (self.config / "vehicle.xml").unlink()
        result = self.run_script("Demo.xml")
        self.check(result, WRONG_USAGE)
        self.assertIn("no vehicle file ", result.err)
        self.assertIn("--derive-vehicle", result.err)

    def test_a_malformed_vehicle_file_is_refused_with_its_place(self):
        (self.config / "vehicle.xml").write_text('<Vehicle vin="x"/>')
        result = self.run_script("Demo.xml")
        self.check(result, REFUSED)
        self.assertIn("vehicle.xml:1:", result.err)

    def test_malformed_settings_are_refused_with_their_place(self):
        (self.config / "KelServer.xml").write_text("<KelServer><Foo/></KelServer>")
        result = self.run_script("Demo.xml")
        self.check(result, REFUSED)
        self.assertIn("KelServer.xml:1:", result.err)

    def test_one_vehicle_is_enough(self):
        self.check(self.run_script("Demo.xml", "--derive-vehicle", "--vehicle", "own.xml"), WRONG_USAGE)

    def test_a_missing_configuration_folder_is_wrong_usage(self):
        result = kelctl("script", "run", "Demo.xml", "--dry-run", "--config", "nowhere", cwd=self.work)
        self.check(result, WRONG_USAGE)
        self.assertIn("there is no folder ", result.err)

    def test_a_run_on_a_car_is_the_servers(self):
        result = kelctl("script", "run", "Demo.xml")
        self.check(result, WRONG_USAGE)
        self.assertIn("needs --dry-run; 'kelctl start Demo.xml'", result.err)

    def test_a_script_has_to_be_named(self):
        result = self.run_script("")
        self.check(result, WRONG_USAGE)
        self.assertIn("the name of the script is empty", result.err)
        self.check(kelctl("script", "run", "--dry-run"), WRONG_USAGE)

    def test_the_help_fits_a_screen(self):
        lines = kelctl("script", "run", "--help").out.splitlines()
        self.assertLessEqual(max(map(len, lines)), 80)
        self.assertIn("Examples:", lines)


class Json(DryRunTest):
    def test_every_event_is_a_value(self):
        result = self.run_script("Demo.xml", "--json", "--fault", "BRAKES:99=")
        self.assertEqual(result.code, DONE)
        events = result.json_lines()
        first, last = events[0], events[-1]
        self.assertEqual((first["event"], first["vin"], first["plannedFaults"]), ("begin", VIN, ["BRAKES:99="]))
        self.assertEqual(first["controlUnits"][0], {"name": "GATEWAY", "link": "UDS_CAN_D"})
        self.assertEqual((last["event"], last["outcome"]), ("end", "clean"))
        self.assertTrue(last["reports"][0].endswith("_Initial.html"))
        times = [event["milliseconds"] for event in events]
        self.assertEqual(times, sorted(times))

        def of_kind(kind):
            return [event for event in events if event["event"] == kind]

        self.assertEqual([(step["step"], step["of"], step["line"], step["action"]) for step in of_kind("step")],
                         [(1, 3, 5, "SelectAction"), (2, 3, 6, "QuicktestAction"), (3, 3, 15, "ExecuteAction")])
        self.assertEqual([(led["colour"], led["rgb"]) for led in of_kind("led")],
                         [("blue", [0, 0, 255]), ("green", [0, 255, 0])])
        self.assertEqual(of_kind("status")[0]["text"], "Running sequence: Demo.xml")
        self.assertEqual([(job["kind"], job["outcome"]) for job in of_kind("job")],
                         [("quick test", "passed"), ("procedure", "passed")])
        self.assertEqual(of_kind("job")[0]["items"][0], {"name": "ENGINE", "passed": True, "text": "2 faults"})
        request = next(event for event in of_kind("request") if event["bytes"] == "22 F1 90")
        self.assertEqual((request["unit"], request["link"], request["length"], request["service"]),
                         ("GATEWAY", "UDS_CAN_D", 3, "ReadDataByIdentifier (0x22)"))
        refusal = next(event for event in of_kind("response") if "negative" in event)
        self.assertEqual((refusal["unit"], refusal["bytes"], refusal["negative"]),
                         ("BRAKES", "7F 22 31", "request out of range (0x31)"))
        self.assertIn("BRAKES:99=", of_kind("note")[0]["text"])

    def test_what_goes_wrong_is_a_value_too(self):
        events = self.run_script("Demo.xml", "--json", "--fault", "GATEWAY:22=lost", "--fault", "ENGINE:3E=").json_lines()
        kinds = {event["event"] for event in events}
        self.assertLessEqual({"lost", "console", "note"}, kinds)
        self.assertEqual(events[-1]["outcome"], "failed")


if __name__ == "__main__":
    # What a run comes to is the same on both systems, and Wine takes seconds for each.
    unittest.main(argv=[__file__, *(("Examples", "Places", "Json") if IS_WINDOWS else ())], verbosity=2)
