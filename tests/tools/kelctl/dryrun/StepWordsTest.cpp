#include "tools/kelctl/dryrun/StepWords.hpp"

#include <gtest/gtest.h>

namespace Quarlen::Ctl::Tests {

TEST(WordsOfAnAction, TellHowAProjectIsSelected) {
    Config::CfxSelectAction action;
    EXPECT_EQ(actionName(action), "SelectAction");
    EXPECT_EQ(actionWords(action), "Closes the project that is open and gives an unlock back.");
    action.project = L"P";
    action.vehicleInformation = L"V";
    EXPECT_EQ(actionWords(action), "Selects the project \"P\", then the vehicle information \"V\", "
                                   "and asks each control unit whether it is there.");
    action.project = L"AUTO_SELECT";
    action.autoConnect = true;
    EXPECT_EQ(actionWords(action), "Selects the project by the car's VIN, then the vehicle "
                                   "information \"V\", and connects to the car.");
}

TEST(WordsOfAnAction, TellWhichProcedureRuns) {
    Config::CfxExecuteAction action;
    EXPECT_EQ(actionName(action), "ExecuteAction");
    EXPECT_EQ(actionWords(action), "Names no procedure: nothing is done.");
    action.command = L"O";
    EXPECT_EQ(actionWords(action), "Runs the procedure \"O\".");
    action.enabled = false;
    EXPECT_EQ(actionWords(action), "Is disabled: nothing is done.");
}

TEST(WordsOfAnAction, TellWhatAQuickTestReads) {
    Config::CfxQuicktestAction action;
    EXPECT_EQ(actionName(action), "QuicktestAction");
    EXPECT_EQ(actionWords(action), "Reads identification, but no faults (it names no status), of "
                                   "every control unit. Writes no report.");
    action.items = {L"A", L"B"};
    action.targets = {{L"C", true}, {L"D", false}};
    action.dtcStatus = {L"Confirmed", L"Pending"};
    action.unlock = {L"U", L"p"};
    action.reportName = L"R";
    action.vehicleReport = Config::VehicleReportSetting{L"T", {L"S1", L"S2"}};
    EXPECT_EQ(actionWords(action),
              "Reads identification and faults (Confirmed, Pending) of A, B and the targets C. "
              "Opens the unlock \"U\" with parameter \"p\" first. Writes the report \"R\" of type "
              "\"T\" with S1, S2.");
    action.items.clear();
    action.targets = {{L"D", false}};
    action.vehicleReport = Config::VehicleReportSetting{};
    EXPECT_EQ(actionWords(action),
              "Reads identification and faults (Confirmed, Pending) of all targets but D. Opens "
              "the unlock \"U\" with parameter \"p\" first. Writes the report \"R\".");
}

TEST(WordsOfAnAction, TellWhatElseAQuickTestAsksFor) {
    Config::CfxQuicktestAction action;
    action.mileage = true;
    EXPECT_EQ(actionWords(action), "Reads identification, mileage, but no faults (it names no "
                                   "status), of every control unit. Writes no report.");
    action.dtcStatus = {L"Confirmed"};
    action.freezeFrames = true;
    EXPECT_EQ(actionWords(action),
              "Reads identification, mileage and faults (Confirmed) with freeze "
              "frames of every control unit. Writes no report.");
    action.extendedData = true;
    EXPECT_EQ(
        actionWords(action),
        "Reads identification, mileage and faults (Confirmed) with freeze frames and extended "
        "data of every control unit. Writes no report.");
}

TEST(WordsOfAnAction, TellWhatIsFlashed) {
    Config::CfxFlashingAction action;
    EXPECT_EQ(actionName(action), "FlashingAction");
    EXPECT_EQ(actionWords(action), "Names nothing to flash.");
    action.items = {L"A"};
    action.targets = {{L"D", false}};
    EXPECT_EQ(actionWords(action), "Flashes A and all targets but D.");
}

TEST(WordsOfAnAction, TellWhatIsUnlocked) {
    Config::CfxUnlockAction action;
    EXPECT_EQ(actionName(action), "UnlockAction");
    EXPECT_EQ(actionWords(action), "Names no unlock: nothing is done.");
    action.unlock = {L"U", L"p"};
    EXPECT_EQ(actionWords(action),
              "Opens the unlock \"U\" with parameter \"p\", unless one is held.");
}

TEST(WordsOfAnAction, SayThatTheServerDoesNotKnowIt) {
    const Config::CfxUnknown action;
    EXPECT_EQ(actionName(action), "unknown action");
    EXPECT_EQ(actionWords(action), "The server does not know this action and skips it.");
}

} // namespace Quarlen::Ctl::Tests
