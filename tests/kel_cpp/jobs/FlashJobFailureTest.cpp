#include <algorithm>
#include <string_view>

#include <gmock/gmock.h>

#include "tests/kel_cpp/jobs/FlashJobFixture.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

struct FlashFailure {
    const char* name;
    /// The vehicle's deliberate failure.
    const char* fault;
    /// In the job error's message.
    const wchar_t* cause;
    /// In the message of the interface's error; null where the interface is not at fault.
    const wchar_t* interfaceCause = nullptr;
};

bool isBeforeTheErase(const FlashFailure& failure) {
    const std::string_view fault(failure.fault);
    return fault.find("\"10 02\"") != fault.npos || fault.find("\"27 01\"") != fault.npos ||
           fault.find("\"31 01 FF 00\"") != fault.npos;
}

class FlashJobFailure : public FlashJobTest, public testing::WithParamInterface<FlashFailure> {};

} // namespace

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
    // The connection may be one of the things that were lost.
    runtime->connectVehicle();
    EXPECT_EQ(softwareVersion(), isBeforeTheErase(GetParam()) ? "EN_01.00.00" : "");
}

INSTANTIATE_TEST_SUITE_P(
    Vehicle, FlashJobFailure,
    testing::Values(
        FlashFailure{"NoProgrammingSession", R"(<Fault request="10 02" response="7F 10 22"/>)",
                     L"DiagnosticSessionControl (0x10) refused: conditions not correct (0x22)"},
        FlashFailure{"NoSecurityAccess", R"(<Fault request="27 01" response="7F 27 37"/>)",
                     L"SecurityAccess (0x27) refused: required time delay not expired (0x37)"},
        FlashFailure{"EraseRefused", R"(<Fault request="31 01 FF 00" response="7F 31 72"/>)",
                     L"RoutineControl (0x31) refused: general programming failure (0x72)"},
        FlashFailure{"EraseFailed", R"(<Fault request="31 01 FF 00" response="71 01 FF 00 01"/>)",
                     L"could not erase"},
        FlashFailure{"EraseWithoutARoutine", R"(<Fault request="31 01 FF 00" response="71"/>)",
                     L"unusable response to RoutineControl (0x31): 71"},
        FlashFailure{"NoMemory", R"(<Fault request="34" response="7F 34 70"/>)",
                     L"RequestDownload (0x34) refused: upload/download not accepted (0x70)"},
        FlashFailure{"WrongBlockCounter", R"(<Fault request="36 05" response="7F 36 73"/>)",
                     L"TransferData (0x36) refused: wrong block sequence counter (0x73)"},
        FlashFailure{"OtherBlockConfirmed", R"(<Fault request="36 05" response="76 04"/>)",
                     L"unusable response to TransferData (0x36): 76 04"},
        FlashFailure{"ProgrammingFailure", R"(<Fault request="36 05" response="7F 36 72"/>)",
                     L"TransferData (0x36) refused: general programming failure (0x72)"},
        FlashFailure{"ExitRefused", R"(<Fault request="37" response="7F 37 24"/>)",
                     L"RequestTransferExit (0x37) refused: request sequence error (0x24)"},
        FlashFailure{"WrongChecksum", R"(<Fault request="31 01 02 02" response="71 01 02 02 01"/>)",
                     L"wrong checksum"},
        FlashFailure{"CheckWithoutARoutine", R"(<Fault request="31 01 02 02" response="71"/>)",
                     L"unusable response to RoutineControl (0x31): 71"},
        FlashFailure{"CheckAnsweredForTheErase",
                     R"(<Fault request="31 01 02 02" response="71 01 FF 00 00"/>)",
                     L"unusable response to RoutineControl (0x31): 71 01 FF 00 00"},
        FlashFailure{"CheckWithoutAStatus",
                     R"(<Fault request="31 01 02 02" response="71 01 02 02"/>)",
                     L"unusable response to a routine's start: 71 01 02 02"},
        FlashFailure{"ControlUnitSilent", R"(<Fault request="36 05"/>)",
                     L"no response to TransferData (0x36) within 550 ms"},
        FlashFailure{"InterfaceGone", R"(<Fault request="36 05" linkLost="true"/>)",
                     L"the vehicle communication failed",
                     L"the connection to ENGINE on UDS_CAN_ENGINE was lost"}),
    [](const auto& test) { return std::string(test.param.name); });

} // namespace Quarlen::Kel_cpp::Tests
