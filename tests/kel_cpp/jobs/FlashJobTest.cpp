#include "kel_cpp/jobs/FlashJob.hpp"

#include <algorithm>
#include <future>

#include <gmock/gmock.h>

#include "kel_cpp/jobs/FlashFile.hpp"
#include "tests/kel_cpp/jobs/FlashJobFixture.hpp"
#include "tests/support/TraceCapture.hpp"

namespace Quarlen::Kel_cpp::Tests {

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
    EXPECT_EQ(results.front()->progress, 0);
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

TEST_F(FlashJobTest, TracesItsEndBeforeItsLastReport) {
    writeFlashFile("engine_app.bin", 5000);
    writeFlashFile("engine_data.bin", 3000);
    connect();
    const Quarlen::Tests::TraceCapture traces;
    flash({L"ENGINE_APP", L"ENGINE_DATA"});
    const auto last = traces.lines().back();
    EXPECT_EQ(last.level, StdUtil::TraceLevel::Info);
    EXPECT_EQ(last.source, L"kel_cpp/jobs/FlashJob");
    EXPECT_EQ(last.text, L"flash job ended: flash item \"ENGINE\", sessions "
                         L"\"ENGINE_APP\", \"ENGINE_DATA\": done");
}

TEST_F(FlashJobTest, TracesItsFailureWithPlaceAndCauseAsAnError) {
    connect();
    const Quarlen::Tests::TraceCapture traces;
    const std::wstring error = errorOfApp();
    ASSERT_EQ(traces.lines().size(), 1U);
    EXPECT_EQ(traces.lines()[0].level, StdUtil::TraceLevel::Error);
    EXPECT_EQ(traces.lines()[0].text, L"flash job ended: " + error);
}

TEST_F(FlashJobTest, TracesWhatTheInterfaceSaysToo) {
    giveEngine(R"(<Fault request="36" linkLost="true"/>)");
    writeFlashFile("engine_app.bin", 5000);
    connect();
    const Quarlen::Tests::TraceCapture traces;
    const std::wstring error = errorOfApp();
    const std::wstring loss = L": the connection to ENGINE on UDS_CAN_ENGINE was lost";
    EXPECT_THAT(traces.texts(),
                testing::IsSupersetOf({L"the connection over \"Simulation\" is lost" + loss,
                                       L"flash job ended: " + error + loss}));
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

TEST_F(FlashJobTest, FilesThatAreTooLargeTogetherAreAJobError) {
    writeFlashFile("engine_app.bin", 1);
    writeFlashFile("engine_data.bin", 1);
    std::filesystem::resize_file(folder.config() / "data/flashdata/engine_app.bin",
                                 maxFlashFileSize);
    connect();
    const auto results = flash({L"ENGINE_APP", L"ENGINE_DATA"});
    ASSERT_NE(results.back()->jobError, nullptr);
    EXPECT_EQ(
        results.back()->jobError->message,
        L"flash item \"ENGINE\", session \"ENGINE_DATA\", file \"engine_data.bin\": the files of "
        L"the sessions are too large together");
}

TEST_F(FlashJobTest, AWrongKeyIsAJobError) {
    folder.replaceIn(projectFile, "keyMask=\"0x1234ABCD\"", "keyMask=\"0x00000001\"");
    writeFlashFile("engine_app.bin", 5000);
    connect();
    EXPECT_NE(errorOfApp().find(L"invalid key"), std::wstring::npos);
}

TEST_F(FlashJobTest, AnInterfaceThatFailsIsAVciServerError) {
    folder.replaceIn("vehicle.xml", "address=\"0x0011\" link=\"UDS_CAN_ENGINE\"",
                     "address=\"0x7011\" link=\"ELSEWHERE\"");
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

TEST_F(FlashJobTest, WaitsForAnEraseOfAWholeMinute) {
    folder.replaceIn("vehicle.xml", "eraseDuration=\"1000\"", "eraseDuration=\"60000\"");
    writeFlashFile("engine_app.bin", 5000);
    connect();
    EXPECT_EQ(errorOfApp(), L"");
    EXPECT_EQ(softwareVersion(), "EN_02.00.00");
}

TEST_F(FlashJobTest, SaysDuringALongEraseThatItGoesOn) {
    folder.replaceIn("vehicle.xml", "eraseDuration=\"1000\"", "eraseDuration=\"60000\"");
    writeFlashFile("engine_app.bin", 5000);
    connect();
    const Quarlen::Tests::TraceCapture traces;
    const auto results = flash({L"ENGINE_APP"});
    const auto zeros = std::count_if(results.begin(), results.end(), [](const auto& result) {
        return result->progress == 0 && result->sessionName == L"ENGINE_APP";
    });
    // The control unit asks for time at least every five seconds.
    EXPECT_GE(zeros, 12);
    EXPECT_LE(zeros, 61);
    const std::wstring place = L"flash item \"ENGINE\", session \"ENGINE_APP\": erasing for ";
    const auto texts = traces.texts();
    EXPECT_EQ(texts.front(), place + L"0 s");
    EXPECT_EQ(std::count_if(texts.begin(), texts.end(),
                            [&](const auto& text) { return text.starts_with(place); }),
              zeros);
}

TEST_F(FlashJobTest, AFileThatNobodyCanCheckIsAJobErrorAndLeavesTheVehicleAsItIs) {
    folder.replaceIn(projectFile, "unchecked=\"true\"", "");
    writeFlashFile("engine_app.bin", 5000);
    connect();
    EXPECT_THAT(errorOfApp(), testing::HasSubstr(L"neither the size nor the checksum"));
    EXPECT_EQ(softwareVersion(), "EN_01.00.00");
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
    folder.replaceIn("vehicle.xml", "eraseDuration=\"1000\"", "eraseDuration=\"60000\"");
    useRealTime();
    writeFlashFile("engine_app.bin", 5000);
    connect();
    Quarlen::Tests::FlashCollector reports;
    const auto job = runtime->executeFlashSessions(L"ENGINE", {L"ENGINE_APP"}, 0, &reports);
    EXPECT_FALSE(reports.waitForLast(std::chrono::milliseconds(100)));
    runtime->cancelJobs({job});
    ASSERT_TRUE(reports.waitForLast());
    ASSERT_NE(reports.results().back()->jobError, nullptr);
    EXPECT_NE(reports.results().back()->jobError->message.find(L"cancelled"), std::wstring::npos);
}

TEST_F(FlashJobTest, ThatIsCancelledDuringAnEraseLeavesTheControlUnitWhenItIsOver) {
    writeFlashFile("engine_app.bin", 5000);
    connect();
    Quarlen::Tests::FlashCollector reports;
    KelApi::JobId job = 0;
    // In the middle of the second that the erase takes.
    std::promise<void> begun;
    clock.callAfter(std::chrono::milliseconds(300), [&] {
        begun.get_future().wait();
        runtime->cancelJobs({job});
    });
    job = runtime->executeFlashSessions(L"ENGINE", {L"ENGINE_APP"}, 0, &reports);
    begun.set_value();
    ASSERT_TRUE(reports.waitForLast());
    EXPECT_THAT(reports.results().back()->jobError->message, testing::HasSubstr(L"cancelled"));
    // Only in the programming session.
    const auto answer = hexService(L"UDS_CAN_ENGINE", {0x37});
    EXPECT_EQ(answer->error, 0x7F);
    EXPECT_EQ(flash({L"ENGINE_APP"}).back()->jobError, nullptr);
}

TEST_F(FlashJobTest, UnknownItemsAndSessionsAndControlUnitsDoNotLaunch) {
    connect();
    Quarlen::Tests::FlashCollector reports;
    EXPECT_NE(errorOf([&] { runtime->executeFlashSessions(L"NONE", {}, 0, &reports); }), L"");
    EXPECT_NE(errorOf([&] { runtime->executeFlashSessions(L"ENGINE", {L"NONE"}, 0, &reports); }),
              L"");
    EXPECT_EQ(reports.reportCount(), 0U);
}

} // namespace Quarlen::Kel_cpp::Tests
