#!/usr/bin/env python3
"""kelctl script check: each kind of finding, where it stands and where it does not; the formats and the exit
codes."""

import json
import pathlib
import shutil
import unittest

from check_support import SELECT, InAConfiguration, execute, findings_of, script
from kelctl_program import DONE, FINDINGS, WRONG_USAGE, kelctl

AUTO = '<SelectAction project="AUTO_SELECT" vehicleInformation="{}"/>'
UNLOCK = '<Unlock name="{}" parameter="{}"/>'
REPORT = "<VehicleReport><Service>CurrentDtcs</Service></VehicleReport>"


def quicktest(*inside, name=""):
    return f'<QuicktestAction{name}>{"".join(inside)}</QuicktestAction>'


def held(*inside):
    return f'<UnlockAction>{"".join(inside)}</UnlockAction>'


def flashing(*inside):
    return f'<FlashingAction>{"".join(inside)}</FlashingAction>'


class Loading(InAConfiguration):
    def test_malformed_xml_is_found(self):
        self.expect_script("<KelServerScript>\n  <SelectAction\n</KelServerScript>",
                           ("does-not-load", "error", 3, 1), saying="ends green")

    def test_each_value_that_the_server_refuses_is_found(self):
        self.expect_script(script('<SelectAction autoConnect="TRUE"/>', SELECT,
                                  held(UNLOCK.format("UnlockGateway", "level1") * 2)),
                           ("does-not-load", "error", 2, 1), ("does-not-load", "error", 4, 64),
                           saying="\"autoConnect\" must be true or false, not \"TRUE\"")

    def test_a_missing_file_and_a_folder_are_found_and_the_others_are_checked(self):
        good = self.write(script(SELECT))
        bad = self.write("<x/>", "b.xml")
        result = self.check("script", "check", "none.xml", "config", good, bad)
        self.assertEqual([each[0:3] for each in findings_of(result)[0]],
                         [("cannot-read", "error", "none.xml"), ("cannot-read", "error", "config"),
                          ("no-script", "error", "b.xml")])
        self.assertEqual(result.code, FINDINGS)

    def test_another_root_is_found(self):
        self.expect_script("<!-- x --><Script><Item/></Script>", ("no-script", "error", 1, 11),
                           saying="does nothing and ends green; expected KelServerScript")

    def test_a_script_without_effect_is_found(self):
        self.expect_script("<KelServerScript/>", ("no-action", "warning", 1, 1))
        self.expect_script(script(execute(more=' enabled="0"'), held()), ("no-action", "warning", 1, 1),
                           ("never-runs", "warning", 2, 1), ("does-nothing", "warning", 3, 1))


class Schema(InAConfiguration):
    def test_unknown_elements_are_found_where_they_stand(self):
        self.expect_script(script("<SelectActoin/>", SELECT, quicktest("<Service>x</Service>")),
                           ("unknown-element", "error", 2, 1), ("unknown-element", "error", 4, 18),
                           saying="\"SelectActoin\" is passed over here; expected \"SelectAction\"")

    def test_inside_an_unknown_element_nothing_more_is_told(self):
        self.expect_script(script(SELECT, '<Foo><Bar/><Item a="b"/></Foo>'),
                           ("unknown-element", "error", 3, 1))

    def test_an_unknown_attribute_is_found(self):
        self.expect_script(script(SELECT, execute(more=' Enabled="0"')),
                           ("unknown-attribute", "error", 3, 1), saying="expected \"enabled\"")

    def test_text_between_elements_is_found(self):
        self.expect_script(script(SELECT, "text", flashing("<Item>ENGINE</Item>", "and")),
                           ("unexpected-text", "error", 1, 1), ("unexpected-text", "error", 4, 1))

    def test_even_blanks_in_an_empty_element_are_found(self):
        self.expect_script(script(SELECT.replace("/>", "> </SelectAction>")),
                           ("unexpected-text", "error", 2, 1))

    def test_comments_may_stand_everywhere(self):
        self.expect_script(script("<!-- x -->", SELECT.replace("/>", "><!-- x --></SelectAction>")))

    def test_words_of_no_table_are_found(self):
        report = '<VehicleReport type="tool"><Service>Currentdtcs</Service></VehicleReport>'
        self.expect_script(script(SELECT, quicktest("<DtcStatus>confirmed</DtcStatus>", report)),
                           ("unknown-text", "error", 3, 18), ("unknown-text", "error", 3, 50),
                           ("unknown-text", "error", 3, 77),
                           saying="\"confirmed\" is not a status of a fault; expected \"Confirmed\"; "
                                  "it sets every bit")

    def test_an_empty_type_is_one_of_them_and_no_type_is_not(self):
        self.expect_script(script(SELECT, quicktest('<VehicleReport type=""/>')),
                           ("unknown-text", "error", 3, 18),
                           saying="ECU_Identification, ReadDTC; it is passed on as 0xFFFFFFFF")
        self.expect_script(script(SELECT, quicktest("<VehicleReport/>")))

    def test_a_type_says_something_of_a_report_only(self):
        self.expect_script(script(SELECT.replace("/>", ' type="tool"/>')), ("unknown-attribute", "error", 2, 1))

    def test_the_words_of_the_tables_are_not(self):
        report = '<VehicleReport type="Tool"><Service> CurrentDtcs </Service></VehicleReport>'
        self.expect_script(script(SELECT, quicktest("<DtcStatus>\nConfirmed</DtcStatus>", report)))


class Actions(InAConfiguration):
    def test_one_without_a_procedure_or_switched_off_never_runs(self):
        self.expect_script(script(SELECT, execute(""), execute(more=' enabled=" false "'), execute()),
                           ("never-runs", "error", 3, 1), ("never-runs", "warning", 4, 1))

    def test_what_follows_one_that_always_fails_never_runs_and_is_told_once(self):
        self.expect_script(script(SELECT, execute("Nope"), quicktest(), quicktest()),
                           ("missing-procedure", "error", 3, 1), ("never-runs", "error", 4, 1),
                           saying="line 3 always fails")

    def test_each_kind_of_action_is_told_to_be_never_reached(self):
        for action in (SELECT, quicktest(), flashing("<Item>ENGINE</Item>"), execute(),
                       held(UNLOCK.format("UnlockGateway", "level1"))):
            self.expect_script(script(SELECT, execute("Nope"), action),
                               ("missing-procedure", "error", 3, 1), ("never-runs", "error", 4, 1))

    def test_a_missing_project_ends_the_run(self):
        self.expect_script(script('<SelectAction project="N" vehicleInformation="V"/>', execute()),
                           ("missing-project", "error", 2, 1), ("never-runs", "error", 3, 1))

    def test_an_item_to_test_that_is_missing_does_not_end_it(self):
        self.expect_script(script(SELECT, quicktest("<Item>ENGIN</Item>"), execute()),
                           ("missing-target", "error", 3, 18),
                           saying="has no control unit \"ENGIN\"; expected \"ENGINE\"")

    def test_flashing_without_items_does_nothing(self):
        self.expect_script(script(SELECT, flashing()), ("does-nothing", "warning", 3, 1))

    def test_targets_that_let_nothing_through_flash_nothing(self):
        self.expect_script(script(SELECT, flashing('<Target name="CHASSIS"/>')),
                           ("does-nothing", "error", 3, 1), saying="nothing is flashed")
        self.expect_script(script(SELECT, flashing('<Target name="CHASSIS"/>', "<Item>ENGINE</Item>")))
        self.expect_script(script(flashing('<Target name="CHASSIS"/>')), ("no-project", "warning", 2, 1),
                           name="S.xml")

    def test_targets_that_let_nothing_through_test_nothing(self):
        self.expect_script(script(SELECT, quicktest('<Target name="CHASSIS"/>')),
                           ("does-nothing", "error", 3, 1), saying="nothing is tested")
        self.expect_script(script(SELECT, quicktest('<Target name="CHASSIS" enabled="0"/>')))
        self.expect_script(script(SELECT, quicktest('<Target name="CHASSIS"/>', "<Item>ENGINE</Item>")))

    def test_an_unlock_is_skipped_while_one_is_held(self):
        unlock = held(UNLOCK.format("UnlockGateway", "level1"))
        self.expect_script(script(SELECT, unlock, SELECT, unlock), ("unlock-held", "warning", 5, 1),
                           saying="the unlock of line 3")
        self.expect_script(script(SELECT, unlock, flashing(UNLOCK.format("UnlockGateway", "level1"),
                                                           "<Item>ENGINE</Item>")))

    def test_an_unlock_that_cannot_open_is_not_held(self):
        self.expect_script(script(SELECT, held(UNLOCK.format("Nope", "level1")),
                                  held(UNLOCK.format("UnlockGateway", "level1"))),
                           ("missing-unlock", "error", 3, 15))

    def test_an_action_before_the_first_select_depends_on_an_earlier_run(self):
        self.expect_script(script(quicktest(), execute()), ("no-project", "warning", 2, 1))
        self.expect_script(script(flashing("<Item>ENGINE</Item>"), SELECT, execute()),
                           ("no-project", "warning", 2, 1))

    def test_an_action_behind_a_closed_project_fails(self):
        self.expect_script(script("<SelectAction/>", execute(), execute()),
                           ("no-project", "error", 3, 1), ("never-runs", "error", 4, 1),
                           ("no-project", "error", 4, 1), saying="line 2 has closed the project")

    def test_an_unlock_behind_a_closed_project_does_not_end_the_run(self):
        self.expect_script(script("<SelectAction/>", held(UNLOCK.format("UnlockGateway", "level1")), SELECT),
                           ("no-project", "error", 3, 1))

    def test_faults_without_a_status_are_found(self):
        empty = "<DtcStatus>Empty</DtcStatus>"
        self.expect_script(script(SELECT, quicktest(REPORT)), ("no-status", "warning", 3, 1),
                           saying="<DtcStatus>Confirmed</DtcStatus> reads confirmed ones")
        self.expect_script(script(SELECT, quicktest(REPORT, empty)), ("no-status", "warning", 3, 1))
        supported = REPORT.replace("Current", "Supported")
        for asked in (' freezeFrames="1"', ' extendedData="true"'):
            self.expect_script(script(SELECT, quicktest(supported, name=asked)),
                               ("no-status", "warning", 3, 1))

    def test_a_status_or_another_service_is_well(self):
        self.expect_script(script(SELECT, quicktest("<DtcStatus>Pending</DtcStatus>", REPORT)))
        self.expect_script(script(SELECT, quicktest(REPORT.replace("Current", "Supported"))))
        self.expect_script(script(SELECT, quicktest(REPORT.replace("Current", "Supported"),
                                                    name=' freezeFrames="false" mileage="true"')))

    def test_a_service_that_the_runtime_does_not_carry_out_is_found(self):
        report = "<VehicleReport><Service>IdentValues</Service><Service>ClearErrors</Service></VehicleReport>"
        self.expect_script(script(SELECT, quicktest(report)), ("unavailable-service", "warning", 3, 63),
                           saying="\"ClearErrors\"")

    def test_a_name_without_a_report_is_found(self):
        self.expect_script(script(SELECT, quicktest(name=' reportName="R"')), ("no-report", "warning", 3, 1))
        self.expect_script(script(SELECT, quicktest("<VehicleReport/>", name=' reportName="R"')))


class References(InAConfiguration):
    def test_a_project_is_found_by_its_name(self):
        self.expect_script(script(SELECT.replace("0042", "0043")), ("missing-project", "error", 2, 1),
                           saying="expected \"Car_DEMO0000000042\"")

    def test_a_project_whose_file_is_refused_cannot_be_selected(self):
        self.edit("projects/Car_DEMO0000000042/project.xml", "<Project ", "<Projekt ")
        self.expect_script(script(SELECT), ("missing-project", "error", 2, 1), saying="project.xml:")

    def test_a_vehicle_information_is_found(self):
        self.expect_script(script(SELECT.replace("VIT_A", "VIT_C")),
                           ("missing-vehicle-information", "error", 2, 1),
                           saying="\"VIT_C\"; expected \"VIT_A\"")

    def test_one_has_to_be_named_even_where_no_folder_is_known(self):
        self.expect_script(script('<SelectAction project="P"/>', execute()),
                           ("missing-vehicle-information", "error", 2, 1), ("never-runs", "error", 3, 1),
                           name="S.xml")

    def test_auto_select_needs_its_project(self):
        shutil.rmtree(self.config / "projects" / "VIN_Reader")
        self.expect_script(script(AUTO.format("VIT_A")), ("missing-project", "error", 2, 1),
                           saying="AUTO_SELECT needs the project \"VIN_Reader\"")

    def test_auto_select_needs_the_vehicle_information_and_the_link_of_its_project(self):
        self.edit("projects/VIN_Reader/project.xml", "UDS_CAN_D", "UDS_CAN_X")
        self.expect_script(script(AUTO.format("VIT_A")), ("missing-link", "error", 2, 1), saying="UDS_CAN_D")
        self.edit("projects/VIN_Reader/project.xml", "DefaultVIT", "VIT")
        self.expect_script(script(AUTO.format("VIT_A")), ("missing-vehicle-information", "error", 2, 1),
                           saying="DefaultVIT")

    def test_auto_select_needs_a_project_to_find(self):
        shutil.rmtree(self.config / "projects" / "Car_DEMO0000000042")
        self.expect_script(script(AUTO.format("VIT_A")), ("missing-project", "error", 2, 1))

    def test_auto_select_finds_a_project_by_the_number_in_its_name_only(self):
        projects = self.config / "projects"
        shutil.copytree(projects / "Car_DEMO0000000042", projects / "Zed")
        self.edit("projects/Zed/project.xml", '<VehicleInformation name="VIT_A">', '<VehicleInformation name="VIT_Z">')
        self.expect_script(script(AUTO.format("VIT_Z")), ("missing-vehicle-information", "error", 2, 1))
        (projects / "Car_DEMO0000000042").rename(projects / "Yan")
        self.expect_script(script(AUTO.format("VIT_A")), ("missing-project", "error", 2, 1),
                           saying="from the fourth character")

    def test_auto_select_takes_the_first_project_that_a_number_fits(self):
        projects = self.config / "projects"
        shutil.copytree(projects / "Car_DEMO0000000042", projects / "Car_DEMO0000000042_old")
        self.edit("projects/Car_DEMO0000000042_old/project.xml", '"VIT_A"', '"VIT_Z"')
        self.expect_script(script(AUTO.format("VIT_Z")), ("missing-vehicle-information", "error", 2, 1))

    def test_a_project_that_auto_select_may_find_has_to_be_read(self):
        self.another_project()
        self.edit("projects/Car_DEMO0000000043/project.xml", "<Project ", "<Projekt ")
        self.expect_script(script(AUTO.format("VIT_A")), ("missing-project", "warning", 2, 1),
                           saying="AUTO_SELECT may find the project \"Car_DEMO0000000043\": ")

    def another_project(self):
        projects = self.config / "projects"
        shutil.copytree(projects / "Car_DEMO0000000042", projects / "Car_DEMO0000000043")
        self.edit("projects/Car_DEMO0000000043/project.xml", '<VehicleInformation name="VIT_A">',
                  '<VehicleInformation name="VIT_A"><Target name="GEARBOX" link="UDS_CAN_D" '
                  'address="0x0010" functionalAddress="0xE400"/>')

    def test_behind_auto_select_a_name_of_any_project_is_well(self):
        self.another_project()
        self.expect_script(script(AUTO.format("VIT_A"),
                                  quicktest("<Item>GEARBOX</Item>", "<Item>BRAKES</Item>")))

    def test_behind_auto_select_a_name_of_no_project_is_found(self):
        self.another_project()
        self.expect_script(script(AUTO.format("VIT_A"), quicktest("<Item>GEARBAX</Item>")),
                           ("missing-target", "error", 3, 18),
                           saying="none of the projects that AUTO_SELECT can find has a control unit "
                                  "\"GEARBAX\"; expected \"GEARBOX\"")

    def test_a_target_of_a_filter_may_be_of_any_kind(self):
        self.expect_script(script(SELECT, quicktest('<Target name="CHASIS" enabled="0"/>')),
                           ("missing-target", "error", 3, 18))
        self.expect_script(script(SELECT, quicktest('<Target name="CHASSIS" enabled="0"/>')))
        self.expect_script(script(SELECT, quicktest("<Item>CHASSIS</Item>")),
                           ("missing-target", "error", 3, 18))

    def test_an_unlock_and_its_parameter_are_found(self):
        self.expect_script(script(SELECT, held(UNLOCK.format("UnlockGatewy", "level1"))),
                           ("missing-unlock", "error", 3, 15), saying="expected \"UnlockGateway\"")
        self.expect_script(script(SELECT, quicktest(UNLOCK.format("UnlockGateway", "level"))),
                           ("missing-unlock", "error", 3, 18), saying="expected \"level1\"")
        self.expect_script(script(SELECT, flashing("<Item>ENGINE</Item>", UNLOCK.format("X", "level1"))),
                           ("missing-unlock", "error", 3, 36))

    def test_a_flash_item_is_found_and_ends_the_run(self):
        self.expect_script(script(SELECT, flashing("<Item>ENGINE</Item>", "<Item>BRAKES</Item>"), execute()),
                           ("missing-flash-item", "error", 3, 36), ("never-runs", "error", 4, 1),
                           saying="\"BRAKES\"; expected ENGINE")

    def test_targets_that_pass_are_flash_items(self):
        self.expect_script(script(SELECT, flashing('<Target name="GATEWAY"/>')),
                           ("missing-flash-item", "error", 3, 1), saying="GATEWAY")
        self.expect_script(script(SELECT, flashing('<Target name="ENGINE"/>')))

    def test_of_targets_that_pass_the_control_unit_and_the_files_are_found(self):
        (self.config / "data" / "flashdata" / "engine_app.bin").unlink()
        self.expect_script(script(SELECT, flashing('<Target name="ENGINE"/>'), execute()),
                           ("missing-flash-file", "error", 3, 1), saying="\"ENGINE_APP\" fails: \"engine_app.bin\"")
        self.edit("projects/Car_DEMO0000000042/project.xml", 'target="ENGINE" desc', 'target="BRAKES" desc')
        self.expect_script(script(SELECT.replace("VIT_A", "VIT_B"), flashing('<Target name="ENGINE"/>'), execute()),
                           ("missing-target", "error", 3, 1), ("never-runs", "error", 4, 1),
                           saying="control unit for the flash item \"ENGINE\"")

    def test_behind_auto_select_a_flash_file_of_one_project_may_be_missing(self):
        self.another_project()
        self.edit("projects/Car_DEMO0000000043/project.xml", 'file="engine_app.bin"', 'file="other.bin"')
        text = script(AUTO.format("VIT_A"), flashing("<Item>ENGINE</Item>"))
        self.expect_script(text, ("missing-flash-file", "warning", 3, 17),
                           saying="\"ENGINE_APP\" of the project \"Car_DEMO0000000043\" fails: \"other.bin\"")
        (self.config / "data" / "flashdata" / "engine_data.bin").unlink()
        self.expect_script(text, *[("missing-flash-file", "error", 3, 17)] * 3,
                           saying="of the project \"Car_DEMO0000000042\" fails: \"engine_data.bin\"")

    def test_the_control_unit_of_a_flash_item_is_found(self):
        self.edit("projects/Car_DEMO0000000042/project.xml", '<Target kind="1" name="BRAKES"',
                  '<Target kind="1" name="DOOR" link="UDS_CAN_D" address="0x0010" '
                  'functionalAddress="0xE400"/><Target kind="1" name="BRAKES"')
        self.edit("projects/Car_DEMO0000000042/project.xml", 'target="ENGINE" desc', 'target="DOOR" desc')
        self.expect_script(script(SELECT, flashing("<Item>ENGINE</Item>")))
        self.expect_script(script(SELECT.replace("VIT_A", "VIT_B"), flashing("<Item>ENGINE</Item>")),
                           ("missing-target", "error", 3, 17))

    def test_a_flash_file_is_found(self):
        (self.config / "data" / "flashdata" / "engine_app.bin").unlink()
        self.expect_script(script(SELECT, flashing("<Item>ENGINE</Item>"), execute()),
                           ("missing-flash-file", "error", 3, 17), saying="\"ENGINE_APP\" fails: \"engine_app.bin\"")

    def test_a_flash_file_of_another_size_or_checksum_is_found(self):
        data = self.config / "data" / "flashdata" / "engine_data.bin"
        content = data.read_bytes()
        for wrong in (content[:-1], content[:-1] + bytes([content[-1] ^ 1]), b""):
            data.write_bytes(wrong)
            self.expect_script(script(SELECT, flashing("<Item>ENGINE</Item>")),
                               ("wrong-flash-file", "error", 3, 17))
        data.write_bytes(content)
        self.expect_script(script(SELECT, flashing("<Item>ENGINE</Item>")))


class Surroundings(InAConfiguration):
    BAD = script(SELECT.replace("0042", "0043"))

    def test_a_script_elsewhere_is_checked_without_a_folder(self):
        self.expect_script(self.BAD, name="S.xml")
        self.expect_script(self.BAD, name="KelServerScripts/T.xml")

    def test_a_script_deeper_in_the_folder_is_checked_with_it(self):
        self.expect_script(self.BAD, ("missing-project", "error", 2, 1),
                           name="config/KelServerScripts/deep/S.xml")

    def test_the_folder_can_be_given(self):
        result = self.check("script", "check", self.write(self.BAD, "S.xml"), "--config", "config")
        self.assertEqual([each[0] for each in findings_of(result)[0]], ["missing-project"])

    def test_a_given_folder_has_to_be_there(self):
        result = kelctl("script", "check", self.write(self.BAD, "S.xml"), "--config", "nope", cwd=self.folder)
        self.assertEqual((result.code, result.err), (WRONG_USAGE, "kelctl: there is no folder nope\n"))

    def test_a_given_working_folder_has_to_be_there(self):
        for command in ("script", "config"):
            result = kelctl(command, "check", self.write(script(SELECT)), "--working-folder", "nope",
                            cwd=self.folder)
            self.assertEqual((result.code, result.err), (WRONG_USAGE, "kelctl: there is no folder nope\n"))

    def test_settings_that_are_refused_are_told_once(self):
        self.edit("KelServer.xml", "<Port>58000", "<Port>70000")
        names = [self.write(script(SELECT), f"config/KelServerScripts/{name}.xml") for name in "ab"]
        found, texts = findings_of(self.check("script", "check", *names))
        self.assertEqual([each[:4] for each in found], [("does-not-load", "error", "config/KelServer.xml", 7)])
        self.assertIn("the server does not start", texts)

    def test_another_file_of_the_name_in_the_working_folder_is_found(self):
        self.write(script(SELECT), "S.xml")
        self.expect_script(script(SELECT), ("shadowed-script", "warning", 1, 1))

    def test_the_name_of_a_script_begins_below_its_folder(self):
        deep = "config/KelServerScripts/deep/S.xml"
        self.write(script(SELECT), "S.xml")
        self.expect_script(script(SELECT), name=deep)
        self.write(script(SELECT), "deep/S.xml")
        self.expect_script(script(SELECT), ("shadowed-script", "warning", 1, 1), name=deep)

    def test_the_working_folder_can_be_given(self):
        self.write(script(SELECT), "elsewhere/S.xml")
        name = self.write(script(SELECT))
        self.assertEqual(self.check("script", "check", name).code, DONE)
        result = self.check("script", "check", name, "--working-folder", "elsewhere")
        self.assertEqual([each[0] for each in findings_of(result)[0]], ["shadowed-script"])
        result = self.check("script", "check", name, "--working-folder", "config/KelServerScripts")
        self.assertEqual(result.code, DONE)


class Many(InAConfiguration):
    def test_of_a_kind_are_counted(self):
        self.expect_script(script(*["<x/>"] * 103, SELECT.replace("/>", ' a="b"/>')),
                           *[("unknown-element", "error", 2 + number, 1) for number in range(101)],
                           ("unknown-attribute", "error", 105, 1), saying="and 3 more of this kind")

    def test_are_not_counted_while_they_are_few(self):
        self.expect_script(script(*["<x/>"] * 100, SELECT),
                           *[("unknown-element", "error", 2 + number, 1) for number in range(100)])


class Words(InAConfiguration):
    """What people read, word for word."""

    def test_of_each_finding_in_a_script(self):
        here = pathlib.Path(__file__).parent
        flash = self.config / "data" / "flashdata"
        (flash / "engine_app.bin").unlink()
        (flash / "engine_data.bin").write_bytes(b"x\n")
        text = (here / "all_findings.xml").read_text(encoding="utf-8")
        expected = (here / "all_findings.txt").read_text(encoding="utf-8").splitlines()
        self.assertEqual(self.lines_of("script", "check", self.write(text)), expected)

    def test_of_findings_that_stand_alone(self):
        self.write("", "c.xml")
        for name, text, expected in (
                ("b", "<Script/>", ["1:1: error: the root element is \"Script\": a run of the file does nothing and "
                                    "ends green; expected KelServerScript [no-script]"]),
                ("c", "<KelServerScript/>",
                 ["1:1: warning: a server that is started in HERE runs its file \"c.xml\" instead; rename one of "
                  "them, or start the server in another folder [shadowed-script]",
                  "1:1: warning: the script has no action that does something: a run ends green at once "
                  "[no-action]"]),
                ("d", "<KelServerScript>",
                 ["1:18: error: the file ends too early, expected \"</KelServerScript>\"; the server runs nothing "
                  "of the script, and ends green [does-not-load]"])):
            file = self.write(text, f"config/KelServerScripts/{name}.xml")
            self.assertEqual(self.lines_of("script", "check", file)[:-1], [f"{file}:{line}" for line in expected])


class Formats(InAConfiguration):
    def setUp(self):
        super().setUp()
        lines = (SELECT, execute("50%,\u00e4:x"), execute(), '<ExecuteAction enabled="0"/>')
        self.name = self.write(script(*lines), "config/KelServerScripts/a b,\u00e4.xml")

    def output(self, *arguments):
        result = kelctl("script", "check", self.name, *arguments, cwd=self.folder)
        self.assertEqual((result.code, result.err), (FINDINGS, ""))
        return result.out.splitlines()

    def test_text_has_a_line_for_each_and_their_number(self):
        first, second, third, summary = self.output()
        self.assertEqual(first, f"{self.name}:3:1: error: the vehicle information \"VIT_A\" has no procedure "
                         "\"50%,\u00e4:x\"; expected Otx_ReadIdent, Otx_ClearFaults, Otx_Slow, Otx_Fail "
                         "[missing-procedure]")
        self.assertTrue(second.startswith(f"{self.name}:4:1: error: ") and second.endswith(" [never-runs]"))
        self.assertTrue(third.startswith(f"{self.name}:5:1: warning: "))
        self.assertEqual(summary, "2 errors and 1 warning in 1 file")

    def test_text_keeps_its_lines_whatever_the_script_says(self):
        self.write(script(SELECT.replace("VIT_A", "a&#10;b")), self.name)
        self.assertEqual(len(self.output()), 2)
        self.assertEqual(len(self.output("--format", "github")), 1)

    def test_a_script_without_findings_has_none(self):
        good = self.write(script(SELECT))
        result = kelctl("script", "check", good, good, cwd=self.folder)
        self.assertEqual((result.code, result.out), (DONE, "0 errors and 0 warnings in 2 files\n"))
        result = kelctl("script", "check", good, "--format", "github", cwd=self.folder)
        self.assertEqual((result.code, result.out), (DONE, ""))

    def test_github_gets_its_letters_escaped(self):
        first, _, third = self.output("--format", "github")
        self.assertEqual(first.split("::")[1],
                         "error file=config/KelServerScripts/a b%2C\u00e4.xml,line=3,col=1,"
                         "title=missing-procedure")
        self.assertIn("has no procedure \"50%25,\u00e4:x\"; expected", first)
        self.assertTrue(third.startswith("::warning file="))

    def test_sarif_is_what_json_gives(self):
        self.assertEqual(self.output("--format", "sarif"), self.output("--json"))

    def test_sarif_has_what_a_code_review_needs(self):
        log = json.loads(self.output("--format", "sarif")[0])
        self.assertEqual(log["version"], "2.1.0")
        run, = log["runs"]
        self.assertEqual((run["tool"]["driver"]["name"], run["columnKind"]), ("kelctl", "unicodeCodePoints"))
        uris = {each["locations"][0]["physicalLocation"]["artifactLocation"]["uri"] for each in run["results"]}
        self.assertEqual(uris, {"config/KelServerScripts/a%20b,%C3%A4.xml"})
        self.assertEqual([each["level"] for each in run["results"]], ["error", "error", "warning"])

    def test_sarif_describes_each_rule_once_in_order(self):
        log = json.loads(self.output("--format", "sarif")[0])
        rules = [rule["id"] for rule in log["runs"][0]["tool"]["driver"]["rules"]]
        self.assertEqual(rules, sorted(set(rules)))
        self.assertTrue(all(rule["shortDescription"]["text"].endswith(".")
                            for rule in log["runs"][0]["tool"]["driver"]["rules"]))

    def test_an_absolute_name_is_an_address_of_a_file(self):
        log = kelctl("script", "check", self.folder / self.name, "--json", cwd=self.folder).json()
        result = log["runs"][0]["results"][0]
        uri = result["locations"][0]["physicalLocation"]["artifactLocation"]["uri"]
        self.assertRegex(uri, r"^file:///.*/a%20b,%C3%A4\.xml$")

    def test_another_format_is_wrong_usage(self):
        self.assertEqual(kelctl("script", "check", self.name, "--format", "pdf").code, WRONG_USAGE)
        self.assertEqual(kelctl("script", "check").code, WRONG_USAGE)


class Help(unittest.TestCase):
    def test_fits_a_screen_and_has_examples(self):
        for command in ("script", "config"):
            text = kelctl(command, "check", "--help").out
            self.assertLessEqual(len(text.splitlines()), 24)
            self.assertLessEqual(max(map(len, text.splitlines())), 80, text)
            self.assertIn(f"  kelctl {command} check ", text)
            self.assertIn("Exit code 4", text)


if __name__ == "__main__":
    unittest.main(argv=["check_test"])
