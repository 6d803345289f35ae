#!/usr/bin/env python3
"""kelctl config check: each kind of finding in a configuration folder and in single files of it."""

import os
import re
import shutil
import subprocess
import sys
import unittest

from check_support import SELECT, InAConfiguration, execute, script
from kelctl_program import FINDINGS, IS_WINDOWS, KELCTL, command, kelctl


WORDS_OF_SETTINGS = [
    "2:1: error: there is no script \"Dmo.xml\" in config/KelServerScripts; there is \"Demo.xml\" [missing-script]",
    "3:1: warning: a server that is started in HERE runs its file \"x.xml\"; rename one of them, or start the "
    "server in another folder [shadowed-script]",
    "4:8: error: there is no folder config/none [missing-folder]",
    "4:33: error: config/vehicle.xml is no folder [missing-folder]",
    "5:1: error: the runtime has no interface \"CAN\": no vehicle can be connected while it is enabled; there are "
    "Simulation and DoIP [unknown-interface]",
    "6:1: error: nobody on another machine can log in: config/tokens: the file cannot be read: CAUSE; "
    "kelctl token create makes one [token-file]"]


class Configuration(InAConfiguration):
    SETTINGS = "config/KelServer.xml"
    PROJECT = "config/projects/Car_DEMO0000000042/project.xml"

    def replace_settings(self, *lines):
        self.write("\n".join(["<KelServer>", *lines, "</KelServer>"]), self.SETTINGS)

    def test_the_example_is_well(self):
        self.expect_config()
        self.expect_config(places=["config"])
        result = kelctl("config", "check", cwd=self.folder)
        self.assertEqual(result.out, "0 errors and 0 warnings in 5 files\n")

    @unittest.skipUnless((KELCTL.parent / "config").is_dir(), "no server's folder is beside the program")
    def test_without_a_folder_config_it_is_the_one_of_the_server(self):
        here = self.folder / "empty"
        here.mkdir()
        own, = kelctl("config", "check", cwd=here).out.splitlines()[-1:]
        given, = kelctl("config", "check", KELCTL.parent / "config", cwd=here).out.splitlines()[-1:]
        self.assertEqual(own, given)
        self.assertRegex(own, r" in [1-9]\d* files$")

    def test_without_settings_the_defaults_hold(self):
        (self.config / "KelServer.xml").unlink()
        self.expect_config(("no-settings", "warning", self.SETTINGS, 1))

    def test_settings_that_are_refused_are_found_with_their_place(self):
        self.replace_settings("<Clients max='0'/>")
        self.expect_config(("does-not-load", "error", self.SETTINGS, 2), saying="the server does not start")

    def test_a_project_that_is_refused_is_found_with_its_place(self):
        self.edit("projects/VIN_Reader/project.xml", 'kind="1"', 'kind="x"')
        self.expect_config(
            ("does-not-load", "error", "config/projects/VIN_Reader/project.xml", 5),
            ("missing-project", "error", "config/KelServerScripts/Demo.xml", 5),
            ("never-runs", "error", "config/KelServerScripts/Demo.xml", 6), saying="no script can select")

    def test_a_vehicle_that_is_refused_is_found_with_its_place(self):
        self.edit("vehicle.xml", 'level="1" keyMask="0x5A', 'level="2" keyMask="0x5A')
        self.expect_config(("does-not-load", "error", "config/vehicle.xml", 6), saying="odd")

    def test_a_status_that_no_fault_can_have_is_pointed_out(self):
        self.edit("vehicle.xml", 'code="0x403500" status="0x2F"', 'code="0x403500" status="0x0F"')
        self.expect_config(("impossible-status", "warning", "config/vehicle.xml", 1),
                           saying='the DTC 40 35 00 of "BRAKES" has the status 0x0F, which no tests lead to: '
                                  "confirmedDTC without testFailedSinceLastClear")

    def test_a_vehicle_that_is_missing_is_found(self):
        (self.config / "vehicle.xml").unlink()
        self.expect_config(("does-not-load", "error", "config/vehicle.xml", 1))

    def test_a_vehicle_that_nobody_uses_is_not_looked_at(self):
        (self.config / "vehicle.xml").unlink()
        self.replace_settings('<Interfaces><Group name="g"><Interface name="Simulation"/></Group></Interfaces>')
        self.expect_config(("no-interface", "error", self.SETTINGS, 2))

    def test_scripts_are_checked(self):
        self.write(script(execute()))
        self.expect_config(("no-project", "warning", "config/KelServerScripts/S.xml", 2))

    def test_a_sequence_needs_its_script(self):
        for number, element in enumerate(("StartSequence", "F1Sequence", "F2Sequence")):
            self.replace_settings(*[""] * number, f"<{element}>Dmo.xml</{element}>")
            self.expect_config(("missing-script", "error", self.SETTINGS, 2 + number), saying="\"Demo.xml\"")
        self.replace_settings("<F2Sequence>Demo.xml</F2Sequence>")
        self.expect_config()

    def test_a_bound_script_in_the_working_folder_comes_first(self):
        self.write(script(SELECT), "Other.xml")
        self.replace_settings("<F1Sequence>Other.xml</F1Sequence>")
        self.expect_config(("shadowed-script", "warning", self.SETTINGS, 2))

    def test_a_server_that_is_started_where_the_scripts_are_runs_the_same_file(self):
        self.replace_settings("<F1Sequence>Demo.xml</F1Sequence>")
        scripts = "config/KelServerScripts"
        self.expect_config(places=["config", "--working-folder", scripts])

    def test_scripts_deeper_in_the_folder_are_checked_too(self):
        self.write(script(execute()), "config/KelServerScripts/deep/S.XML")
        self.write(script(execute()), "config/KelServerScripts/deep/S.xmlx")
        self.write(script(execute()), "config/KelServerScripts/deep/S.txt")
        self.expect_config(("no-project", "warning", "config/KelServerScripts/deep/S.XML", 2))

    @unittest.skipIf(IS_WINDOWS, "links need a right there")
    def test_links_to_folders_of_scripts_are_not_followed(self):
        self.write(script(execute()), "elsewhere/S.xml")
        (self.config / "KelServerScripts" / "deep").symlink_to(self.folder / "elsewhere")
        (self.config / "KelServerScripts" / "self").symlink_to(".")
        self.expect_config()

    @unittest.skipIf(IS_WINDOWS, "files are made slowly there")
    def test_more_scripts_than_anybody_has_are_not_checked(self):
        for number in range(10_000):
            self.write("<x/>", f"config/KelServerScripts/{number}.xml")
        result = self.check("config", "check")
        self.assertIn("there are more than 10000 scripts: the others are not checked", result.out)

    @unittest.skipUnless(sys.platform == "linux", "names are text elsewhere")
    def test_a_script_whose_name_is_no_text_is_checked_and_found(self):
        name = os.fsencode(self.config / "KelServerScripts") + b"/a\xff.xml"
        with open(name, "wb") as file:
            file.write(script(execute()).encode())
        shown = "config/KelServerScripts/a%EF%BF%BD.xml"
        self.expect_config(("name-is-no-text", "error", shown, 1), ("no-project", "warning", shown, 2),
                           saying="nobody can tell a server to run it")

    def test_interfaces_have_to_be_known(self):
        one = '<Interface name="{}" enabled="true"/>'
        frame = '<Interfaces><Group name="g">{}</Group></Interfaces>'
        self.replace_settings(frame.format(one.format("Simulation") + one.format("CAN")))
        self.expect_config(("unknown-interface", "error", self.SETTINGS, 2), saying="\"CAN\"")
        for name in ("Simulation", "DoIP"):
            self.replace_settings(frame.format(one.format(name)))
            self.expect_config()
        self.replace_settings(frame.format(one.format("Simulation") * 2))
        self.expect_config(("several-interfaces", "warning", self.SETTINGS, 2))

    def test_over_ethernet_each_link_needs_an_address(self):
        self.edit("KelServer.xml", 'name="Simulation" enabled="true"', 'name="Simulation" enabled="false"')
        self.edit("KelServer.xml", 'name="DoIP" enabled="false"', 'name="DoIP" enabled="true"')
        self.expect_config()
        self.edit("projects/Car_DEMO0000000042/project.xml", 'name="BRAKES" link="UDS_CAN_BRAKES" address="0x0012"',
                  'name="BRAKES" link="UDS_CAN_BRAKES"')
        self.edit("projects/Car_DEMO0000000042/project.xml", '<Unlock name="UnlockGateway" link="UDS_CAN_D"',
                  '<Unlock name="UnlockGateway" link="UDS_CAN_X"')
        unlock = self.line_of("projects/Car_DEMO0000000042/project.xml", '"UDS_CAN_X"')
        self.expect_config(("missing-address", "warning", self.PROJECT, 6),
                           ("missing-address", "warning", self.PROJECT, unlock), saying='"UDS_CAN_BRAKES" has an address')
        self.edit("KelServer.xml", 'name="DoIP" enabled="true"', 'name="DoIP" enabled="false"')
        self.expect_config(("no-interface", "error", self.SETTINGS, self.line_of("KelServer.xml", "<Interfaces>")))

    def test_parameters_of_the_interface_over_ethernet_are_those_that_it_has(self):
        entry = '<Interfaces><Group name="g"><Interface name="DoIP" enabled="true" {}/></Group></Interfaces>'
        self.replace_settings(entry.format('host="" vin="WKLDEMO0000000042" eid="02:00:00:00:00:2A"'))
        self.expect_config()
        for wrong in ('Host="car"', 'vin="WKL"', 'eid="02:00"', 'testerAddress="0x1000"'):
            self.replace_settings(entry.format(wrong))
            self.expect_config(("does-not-load", "error", self.SETTINGS, 2), saying=wrong.split("=")[0])

    def test_folders_have_to_be_there(self):
        (self.config / "KelServerScripts" / "Demo.xml").unlink()
        self.replace_settings("<Paths><Projects>none</Projects>", "<Data>none</Data>",
                              "<Reports>new</Reports>", "<Traces>vehicle.xml</Traces></Paths>")
        self.expect_config(("missing-folder", "error", self.SETTINGS, 2),
                           ("missing-folder", "warning", self.SETTINGS, 3),
                           ("missing-folder", "error", self.SETTINGS, 5))

    def test_the_usual_folder_of_projects_has_to_be_there_too(self):
        (self.config / "KelServerScripts" / "Demo.xml").unlink()
        shutil.rmtree(self.config / "projects")
        self.replace_settings()
        self.expect_config(("missing-folder", "error", self.SETTINGS, 1))

    def token_file(self, text, mode=0o600):
        self.replace_settings('<Access tokenFile="access.token"/>')
        self.write(text, "config/access.token")
        os.chmod(self.config / "access.token", mode)

    def test_a_token_file_has_to_let_somebody_in(self):
        for text in ("", "# none\n", "watch a\n", "root a " + "0" * 64, "watch a " + "g" * 64,
                     "watch a " + "0" * 64 + " b"):
            self.token_file(text)
            self.expect_config(("token-file", "error", self.SETTINGS, 2), saying="access.token: ")

    def test_a_token_file_with_a_token_is_well(self):
        self.token_file("# mine\n\n\r\n \t\ncontrol a " + "0aF" * 21 + "0\n")
        self.expect_config()

    def test_a_token_file_has_to_be_there(self):
        self.replace_settings('<Access tokenFile="access.token"/>')
        self.expect_config(("token-file", "error", self.SETTINGS, 2), saying=": the file cannot be read: ")
        self.assertRegex(kelctl("config", "check", self.config).out,
                         r"access\.token: the file cannot be read: [^:]+ \(\d+\); ")

    @unittest.skipIf(IS_WINDOWS, "there are none")
    def test_a_token_file_that_blocks_is_not_opened(self):
        self.replace_settings('<Access tokenFile="pipe"/>')
        os.mkfifo(self.config / "pipe", 0o600)
        self.expect_config(("token-file", "error", self.SETTINGS, 2), saying="pipe: this is no regular file")

    def test_a_token_file_has_a_largest_size(self):
        token = "control a " + "0" * 64 + "\n#"
        self.token_file(token.ljust(1024 * 1024, "x"))
        self.expect_config()
        self.token_file(token.ljust(1024 * 1024 + 1, "x"))
        self.expect_config(("token-file", "error", self.SETTINGS, 2), saying="larger than 1048576 bytes")

    def test_a_token_file_is_no_folder(self):
        self.replace_settings('<Access tokenFile="projects"/>')
        self.expect_config(("token-file", "error", self.SETTINGS, 2), saying="projects: this is no regular file")

    @unittest.skipIf(IS_WINDOWS, "who may read a file is no mode there")
    def test_a_token_file_is_for_its_owner_alone(self):
        self.token_file("control a " + "0" * 64, mode=0o644)
        self.expect_config(("token-file", "error", self.SETTINGS, 2), saying="others can read")

    def test_links_have_to_be_those_of_the_simulated_vehicle(self):
        self.edit("vehicle.xml", 'link="UDS_CAN_BRAKES"', 'link="BRAKES"')
        self.expect_config(("missing-link", "warning", self.PROJECT, 6), saying="\"UDS_CAN_BRAKES\"")

    def test_links_of_procedures_too(self):
        self.edit("projects/Car_DEMO0000000042/project.xml",
                  '<Request link="UDS_CAN_D" send="14', '<Request link="UDS_CAN_E" send="14')
        self.expect_config(("missing-link", "warning", self.PROJECT, 34), saying="\"UDS_CAN_E\"; it has \"UDS_CAN_D\"")

    def test_flash_files_have_to_be_there_and_right(self):
        flash = self.config / "data" / "flashdata"
        (flash / "engine_app.bin").unlink()
        (flash / "engine_data.bin").write_bytes(b"short")
        lines = [self.line_of("projects/Car_DEMO0000000042/project.xml", f'<Session name="{name}"')
                 for name in ("ENGINE_APP", "ENGINE_DATA")]
        self.expect_config(("missing-flash-file", "error", self.PROJECT, lines[0]),
                           ("wrong-flash-file", "error", self.PROJECT, lines[1]), saying="5 of 12345 bytes")


class Words(InAConfiguration):
    """What people read, word for word."""

    SETTINGS = """<KelServer>
<StartSequence>Dmo.xml</StartSequence>
<F1Sequence>x.xml</F1Sequence>
<Paths><Projects>none</Projects><Traces>vehicle.xml</Traces></Paths>
<Interfaces><Group name="g"><Interface name="{}" enabled="1"/><Interface name="{}" enabled="1"/></Group></Interfaces>
<Access tokenFile="tokens"/>
</KelServer>"""

    def test_of_findings_in_settings(self):
        self.write("", "x.xml")
        self.write(self.SETTINGS.format("CAN", "Simulation"), "config/KelServer.xml")
        lines = [re.sub(r"read: .+ \(\d+\);", "read: CAUSE;", line)
                 for line in self.lines_of("config", "check", "config/KelServer.xml")]
        self.assertEqual(lines,
                         [f"config/KelServer.xml:{line}" for line in WORDS_OF_SETTINGS]
                         + ["5 errors and 1 warning in 1 file"])

    def test_of_several_and_of_no_interfaces(self):
        self.write(self.SETTINGS.format("Simulation", "Simulation"), "config/KelServer.xml")
        self.assertIn("config/KelServer.xml:5:1: warning: several interfaces are enabled: only the first is used "
                      "[several-interfaces]", self.lines_of("config", "check", "config/KelServer.xml"))
        self.write("<KelServer><Interfaces/></KelServer>", "config/KelServer.xml")
        self.assertEqual(self.lines_of("config", "check", "config/KelServer.xml")[0],
                         "config/KelServer.xml:1:12: error: no vehicle communication interface is enabled: no "
                         "vehicle can be connected; <Interface name=\"Simulation\" enabled=\"true\"/> "
                         "[no-interface]")

    def test_of_findings_in_a_project(self):
        self.edit("vehicle.xml", 'link="UDS_CAN_BRAKES"', 'link="X"')
        (self.config / "data" / "flashdata" / "engine_app.bin").unlink()
        line = self.line_of("projects/Car_DEMO0000000042/project.xml", '<Session name="ENGINE_APP"')
        self.assertEqual(self.lines_of("config", "check", Configuration.PROJECT), [
            f"{Configuration.PROJECT}:6:5: warning: the simulated vehicle has no logical link \"UDS_CAN_BRAKES\"; "
            "it has UDS_CAN_D, UDS_CAN_ENGINE, X [missing-link]",
            f"{Configuration.PROJECT}:{line}:5: error: \"engine_app.bin\": the file does not exist in "
            "HERE/config/data/flashdata [missing-flash-file]",
            "1 error and 1 warning in 1 file"])

    def test_of_what_is_wrong_with_tokens(self):
        for text, expected in (("", "the file has no token"),
                               ("#\nx", 'line 2: expected the role "watch" or "control"')):
            self.write('<KelServer><Access tokenFile="t"/></KelServer>', "config/KelServer.xml")
            os.chmod(self.folder / self.write(text, "config/t"), 0o600)
            self.assertIn(f"config/t: {expected}; kelctl token create",
                          self.lines_of("config", "check", "config/KelServer.xml")[0])

    def test_of_missing_settings(self):
        (self.config / "KelServer.xml").unlink()
        self.assertEqual(self.lines_of("config", "check", "config")[0],
                         "config/KelServer.xml:1:1: warning: there is no such file: the defaults hold "
                         "[no-settings]")


class SingleFiles(InAConfiguration):
    def test_are_known_by_their_roots(self):
        self.write('<Vehicle vin="x"/>', "a.xml")
        self.write("<Project foo='1'/>", "b.xml")
        self.write("<KelServer><Port/></KelServer>", "c.xml")
        self.write(script(execute()), "d.xml")
        self.expect_config(("does-not-load", "error", "a.xml", 1), ("does-not-load", "error", "b.xml", 1),
                           ("does-not-load", "error", "c.xml", 1), ("no-project", "warning", "d.xml", 2),
                           places=["a.xml", "b.xml", "c.xml", "d.xml"])

    def test_are_known_by_their_names_when_they_are_malformed(self):
        consequences = {"KelServer.xml": "does not start", "project.xml": "select", "vehicle.xml": "connected",
                        "x.xml": "ends green"}
        for name, consequence in consequences.items():
            self.write("<", f"single/{name}")
            self.expect_config(("does-not-load", "error", f"single/{name}", 1), saying=consequence,
                               places=[f"single/{name}"])

    def test_belong_to_their_folder(self):
        self.edit("KelServer.xml", "Demo.xml", "Dmo.xml")
        self.edit("vehicle.xml", 'link="UDS_CAN_BRAKES"', 'link="BRAKES"')
        self.expect_config(("missing-script", "error", "config/KelServer.xml", 13),
                           ("missing-link", "warning", Configuration.PROJECT, 6),
                           places=["config/KelServer.xml", Configuration.PROJECT, "config/vehicle.xml"])

    @unittest.skipIf(IS_WINDOWS, "a current folder cannot be removed there")
    def test_are_checked_from_a_folder_that_is_gone(self):
        self.write("<Project foo='1'/>", "b.xml")
        (self.folder / "gone").mkdir()
        done = subprocess.run(["sh", "-c", 'rmdir ../gone; exec "$@"', "sh",
                               *command("config", "check", "../b.xml")],
                              cwd=self.folder / "gone", check=False, capture_output=True, text=True, timeout=60)
        self.assertEqual((done.returncode, done.stderr), (FINDINGS, ""))
        self.assertIn("[does-not-load]", done.stdout)

    def test_that_are_missing_are_found(self):
        self.expect_config(("cannot-read", "error", "none.xml", 1), places=["none.xml"])

    def test_give_the_same_formats(self):
        self.write("<Vehicle/>", "v.xml")
        result = kelctl("config", "check", "v.xml", "--format", "github", cwd=self.folder)
        self.assertEqual(result.code, FINDINGS)
        self.assertTrue(result.out.startswith("::error file=v.xml,line=1,col=1,title=does-not-load::"))


if __name__ == "__main__":
    unittest.main(argv=["config_check_test"])
