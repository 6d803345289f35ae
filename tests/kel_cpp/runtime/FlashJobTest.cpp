#include "kel_cpp/jobs/FlashJob.hpp"

#include <algorithm>

#include <gmock/gmock.h>

#include "tests/kel_cpp/runtime/RuntimeFixture.hpp"
#include "tests/support/ReportCollector.hpp"

namespace Quarlen::Kel_cpp {

namespace {

class FlashJobTest : public Tests::RuntimeFixture {
protected:
    /// The tests write files of their own, of any size.
    void SetUp() override {
        folder.replaceIn(projectFile, "size=\"100000\"\n             checksum=\"0x13B199D7\"", "");
        folder.replaceIn(projectFile, "size=\"12345\"\n             checksum=\"0xC2274205\"", "");
        RuntimeFixture::SetUp();
    }

    void writeFlashFile(const std::string& name, std::size_t size) const {
        std::string content = "KELSWVEREN_02.00.00";
        content.push_back('\0');
        content.resize(size, '\x5A');
        folder.write("data/flashdata/" + name, content);
    }

    RecordList<FlashResult> flash(const std::vector<std::wstring>& sessions) {
        TestSupport::FlashCollector reports;
        runtime->executeFlashSessions(L"ENGINE", sessions, 0, &reports);
        EXPECT_TRUE(reports.waitForLast());
        return reports.results();
    }

    std::wstring errorOfApp() {
        const auto results = flash({L"ENGINE_APP"});
        const auto error = results.empty() ? nullptr : results.back()->jobError;
        return error ? error->message : std::wstring();
    }

    std::string softwareVersion() {
        const auto response = hexService(L"UDS_CAN_ENGINE", {0x22, 0xF1, 0x95});
        const auto& data = response->responses.at(0)->data;
        return {data.begin() + 3, data.end()};
    }

    /// The engine control unit has this element besides its own.
    void giveEngine(const std::string& element) const {
        folder.replaceIn("vehicle.xml", "<FlashMemory", element + "<FlashMemory");
    }

    static constexpr const char* projectFile = "projects/Car_DEMO0000000042/project.xml";
};

} // namespace

TEST_F(FlashJobTest, WritesTheFileAndTheNewSoftwareVersionReadsBack) {
    writeFlashFile("engine_app.bin", 100000);
    connect();
    EXPECT_EQ(softwareVersion(), "EN_01.00.00");
    const auto results = flash({L"ENGINE_APP"});
    ASSERT_FALSE(results.empty());
    EXPECT_EQ(results.back()->jobError, nullptr);
    EXPECT_EQ(softwareVersion(), "EN_02.00.00");
}

TEST_F(FlashJobTest, ReportsWholePercentsInRisingOrderUpToHundred) {
    writeFlashFile("engine_app.bin", 100000);
    connect();
    const auto results = flash({L"ENGINE_APP"});
    ASSERT_GT(results.size(), 10U);
    EXPECT_TRUE(std::is_sorted(results.begin(), results.end(), [](const auto& a, const auto& b) {
        return a->progress < b->progress;
    }));
    EXPECT_EQ(results.back()->progress, 100);
    EXPECT_EQ(results.back()->sessionName, L"ENGINE_APP");
}

TEST_F(FlashJobTest, FlashesItsSessionsOneAfterTheOther) {
    writeFlashFile("engine_app.bin", 5000);
    writeFlashFile("engine_data.bin", 3000);
    connect();
    const auto results = flash({L"ENGINE_APP", L"ENGINE_DATA"});
    EXPECT_EQ(results.front()->sessionName, L"ENGINE_APP");
    EXPECT_EQ(results.back()->sessionName, L"ENGINE_DATA");
    EXPECT_EQ(results.back()->jobError, nullptr);
    EXPECT_EQ(results.back()->progress, 100);
}

TEST_F(FlashJobTest, LeavesTheControlUnitInItsDefaultSession) {
    writeFlashFile("engine_app.bin", 5000);
    connect();
    flash({L"ENGINE_APP"});
    // Security access is not to be had in the default session.
    EXPECT_NE(hexService(L"UDS_CAN_ENGINE", {0x27, 0x01})->error, 0);
}

TEST_F(FlashJobTest, AnAbsentFileIsAJobErrorThatNamesItemSessionAndFile) {
    connect();
    const std::wstring error = errorOfApp();
    for (const auto* part :
         {L"\"ENGINE\"", L"\"ENGINE_APP\"", L"\"engine_app.bin\"", L"does not exist"}) {
        EXPECT_NE(error.find(part), std::wstring::npos);
    }
}

TEST_F(FlashJobTest, AnAbsentFileOfALaterSessionLeavesTheVehicleAsItIs) {
    writeFlashFile("engine_app.bin", 5000);
    connect();
    const auto results = flash({L"ENGINE_APP", L"ENGINE_DATA"});
    ASSERT_EQ(results.size(), 1U);
    ASSERT_NE(results[0]->jobError, nullptr);
    EXPECT_NE(results[0]->jobError->message.find(L"ENGINE_DATA"), std::wstring::npos);
    EXPECT_EQ(softwareVersion(), "EN_01.00.00");
}

TEST_F(FlashJobTest, AnEmptyFileIsAJobError) {
    writeFlashFile("engine_app.bin", 0);
    connect();
    EXPECT_NE(errorOfApp().find(L"is empty"), std::wstring::npos);
}

TEST_F(FlashJobTest, AFileLargerThanTheControlUnitsMemoryIsAJobErrorOfTheControlUnit) {
    writeFlashFile("engine_app.bin", 0x00040001);
    connect();
    const auto results = flash({L"ENGINE_APP"});
    ASSERT_NE(results.back()->jobError, nullptr);
    EXPECT_NE(results.back()->jobError->message.find(L"refused"), std::wstring::npos);
    EXPECT_EQ(results.back()->jobError->vciServerError, nullptr);
    EXPECT_LT(results.back()->progress, 100);
}

TEST_F(FlashJobTest, AWrongKeyIsAJobError) {
    folder.replaceIn(projectFile, "keyMask=\"0x1234ABCD\"", "keyMask=\"0x00000001\"");
    writeFlashFile("engine_app.bin", 5000);
    connect();
    EXPECT_NE(errorOfApp().find(L"invalidKey"), std::wstring::npos);
}

TEST_F(FlashJobTest, AnInterfaceThatFailsIsAVciServerError) {
    folder.replaceIn("vehicle.xml", "link=\"UDS_CAN_ENGINE\"", "link=\"ELSEWHERE\"");
    writeFlashFile("engine_app.bin", 5000);
    connect();
    const auto results = flash({L"ENGINE_APP"});
    ASSERT_NE(results.back()->jobError, nullptr);
    ASSERT_NE(results.back()->jobError->vciServerError, nullptr);
    EXPECT_NE(results.back()->jobError->vciServerError->message.find(L"UDS_CAN_ENGINE"),
              std::wstring::npos);
}

TEST_F(FlashJobTest, ATruncatedFileIsAJobErrorThatNamesItemSessionAndFile) {
    folder.replaceIn(projectFile, "file=\"engine_app.bin\"",
                     "file=\"engine_app.bin\" size=\"5000\"");
    writeFlashFile("engine_app.bin", 4999);
    connect();
    EXPECT_EQ(errorOfApp(), L"flash item \"ENGINE\", session \"ENGINE_APP\", file "
                            L"\"engine_app.bin\": the file has 4999 of 5000 bytes");
    EXPECT_EQ(softwareVersion(), "EN_01.00.00");
}

TEST_F(FlashJobTest, AFileWithAnotherChecksumThanTheProjectSaysIsAJobError) {
    folder.replaceIn(projectFile, "file=\"engine_app.bin\"",
                     "file=\"engine_app.bin\" checksum=\"1\"");
    writeFlashFile("engine_app.bin", 5000);
    connect();
    EXPECT_NE(errorOfApp().find(L"does not have the checksum"), std::wstring::npos);
    EXPECT_EQ(softwareVersion(), "EN_01.00.00");
}

TEST_F(FlashJobTest, WaitsForAControlUnitThatAsksForTimeAgainAndAgain) {
    folder.replaceIn("vehicle.xml", "eraseDuration=\"1000\"", "eraseDuration=\"12000\"");
    writeFlashFile("engine_app.bin", 5000);
    connect();
    const auto results = flash({L"ENGINE_APP"});
    EXPECT_EQ(results.back()->jobError, nullptr);
    EXPECT_EQ(results.back()->progress, 100);
}

TEST_F(FlashJobTest, AnErrorInALaterSessionIsThatSessionsAndNotDone) {
    giveEngine("<Fault request=\"36 01\" response=\"7F 36 72\" after=\"1\"/>");
    writeFlashFile("engine_app.bin", 3000);
    writeFlashFile("engine_data.bin", 3000);
    connect();
    const auto results = flash({L"ENGINE_APP", L"ENGINE_DATA"});
    const auto& last = *results.back();
    ASSERT_NE(last.jobError, nullptr);
    EXPECT_EQ(last.sessionName, L"ENGINE_DATA");
    EXPECT_LT(last.progress, 100);
    EXPECT_NE(last.jobError->message.find(L"\"engine_data.bin\""), std::wstring::npos);
}

TEST_F(FlashJobTest, CanBeRepeatedAfterAFailure) {
    giveEngine("<Fault request=\"36 02\" response=\"7F 36 72\" times=\"1\"/>");
    writeFlashFile("engine_app.bin", 10000);
    connect();
    EXPECT_NE(errorOfApp(), L"");
    EXPECT_EQ(errorOfApp(), L"");
    EXPECT_EQ(softwareVersion(), "EN_02.00.00");
}

TEST_F(FlashJobTest, ACancelledJobReportsAJobErrorBeforeItsEraseIsOver) {
    useRealTime();
    writeFlashFile("engine_app.bin", 5000);
    connect();
    TestSupport::FlashCollector reports;
    const auto job = runtime->executeFlashSessions(L"ENGINE", {L"ENGINE_APP"}, 0, &reports);
    // Erasing takes a second.
    EXPECT_FALSE(reports.waitForLast(std::chrono::milliseconds(100)));
    runtime->cancelJobs({job});
    ASSERT_TRUE(reports.waitForLast());
    ASSERT_NE(reports.results().back()->jobError, nullptr);
    EXPECT_NE(reports.results().back()->jobError->message.find(L"cancelled"), std::wstring::npos);
}

TEST_F(FlashJobTest, UnknownItemsAndSessionsAndControlUnitsDoNotLaunch) {
    connect();
    TestSupport::FlashCollector reports;
    EXPECT_NE(errorOf([&] { runtime->executeFlashSessions(L"NONE", {}, 0, &reports); }), L"");
    EXPECT_NE(errorOf([&] { runtime->executeFlashSessions(L"ENGINE", {L"NONE"}, 0, &reports); }),
              L"");
    EXPECT_EQ(reports.reportCount(), 0U);
}

struct FlashFailure {
    const char* name;
    /// The vehicle's deliberate failure.
    const char* fault;
    /// In the job error's message.
    const wchar_t* cause;
    /// In the message of the interface's error; null where the interface is not at fault.
    const wchar_t* interfaceCause = nullptr;
};

class FlashJobFailure : public FlashJobTest, public testing::WithParamInterface<FlashFailure> {};

TEST_P(FlashJobFailure, IsAJobErrorOfItsSessionAndNothingIsReportedAsDone) {
    giveEngine(GetParam().fault);
    writeFlashFile("engine_app.bin", 30000);
    connect();
    const auto results = flash({L"ENGINE_APP"});
    const auto error = results.back()->jobError;
    ASSERT_NE(error, nullptr);
    EXPECT_THAT(error->message, testing::StartsWith(L"flash item \"ENGINE\", session "
                                                    L"\"ENGINE_APP\", file \"engine_app.bin\": "));
    EXPECT_THAT(error->message, testing::HasSubstr(GetParam().cause));
    ASSERT_EQ(error->vciServerError != nullptr, GetParam().interfaceCause != nullptr);
    if (error->vciServerError) {
        EXPECT_THAT(error->vciServerError->message, testing::HasSubstr(GetParam().interfaceCause));
    }
    EXPECT_TRUE(std::all_of(results.begin(), results.end(),
                            [](const auto& result) { return result->progress < 100; }));
    EXPECT_EQ(softwareVersion(), "EN_01.00.00");
}

INSTANTIATE_TEST_SUITE_P(
    Vehicle, FlashJobFailure,
    testing::Values(
        FlashFailure{"NoProgrammingSession", R"(<Fault request="10 02" response="7F 10 22"/>)",
                     L"DiagnosticSessionControl (0x10) refused: conditionsNotCorrect (0x22)"},
        FlashFailure{"NoSecurityAccess", R"(<Fault request="27 01" response="7F 27 37"/>)",
                     L"SecurityAccess (0x27) refused: requiredTimeDelayNotExpired (0x37)"},
        FlashFailure{"EraseRefused", R"(<Fault request="31 01 FF 00" response="7F 31 72"/>)",
                     L"RoutineControl (0x31) refused: generalProgrammingFailure (0x72)"},
        FlashFailure{"EraseFailed", R"(<Fault request="31 01 FF 00" response="71 01 FF 00 01"/>)",
                     L"could not erase"},
        FlashFailure{"NoMemory", R"(<Fault request="34" response="7F 34 70"/>)",
                     L"RequestDownload (0x34) refused: uploadDownloadNotAccepted (0x70)"},
        FlashFailure{"WrongBlockCounter", R"(<Fault request="36 05" response="7F 36 73"/>)",
                     L"TransferData (0x36) refused: wrongBlockSequenceCounter (0x73)"},
        FlashFailure{"OtherBlockConfirmed", R"(<Fault request="36 05" response="76 04"/>)",
                     L"another block than number 5"},
        FlashFailure{"ProgrammingFailure", R"(<Fault request="36 05" response="7F 36 72"/>)",
                     L"TransferData (0x36) refused: generalProgrammingFailure (0x72)"},
        FlashFailure{"ExitRefused", R"(<Fault request="37" response="7F 37 24"/>)",
                     L"RequestTransferExit (0x37) refused: requestSequenceError (0x24)"},
        FlashFailure{"WrongChecksum", R"(<Fault request="31 01 02 02" response="71 01 02 02 01"/>)",
                     L"wrong checksum"},
        FlashFailure{"ControlUnitSilent", R"(<Fault request="36 05"/>)",
                     L"no response to TransferData (0x36) within 1000 ms"},
        FlashFailure{"InterfaceGone", R"(<Fault request="36 05" linkLost="true"/>)",
                     L"the vehicle communication failed",
                     L"the connection to ENGINE on UDS_CAN_ENGINE was lost"}),
    [](const auto& test) { return std::string(test.param.name); });

} // namespace Quarlen::Kel_cpp
