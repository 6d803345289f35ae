#include "tests/support/RecordingKelApi.hpp"

#include <memory>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Quarlen::Tests {

using testing::ElementsAre;

class RecordingKelApiTest : public testing::Test {
protected:
    static std::shared_ptr<Kel_cpp::ServiceInput> input(const std::wstring& name) {
        auto made = std::make_shared<Kel_cpp::ServiceInput>();
        made->serviceName = name;
        return made;
    }

    RecordingKelApi api;
};

TEST_F(RecordingKelApiTest, TellsAnEmptyListFromOneEmptyText) {
    api.openUnlockSession(L"U", {});
    api.openUnlockSession(L"U", {L""});
    api.prepareUpdatePackages({}, api.updateDescriptions);
    api.prepareUpdatePackages({L""}, api.updateDescriptions);

    EXPECT_THAT(api.calls(), ElementsAre("openUnlockSession(U)", "openUnlockSession(U, \"\")",
                                         "prepareUpdatePackages()", "prepareUpdatePackages(\"\")"));
}

TEST_F(RecordingKelApiTest, TellsTwoTextsFromOneWithAComma) {
    api.openUnlockSession(L"U", {L"a", L"b"});
    api.openUnlockSession(L"U", {L"a, b"});
    api.openUnlockSession(L"U", {L"a\"b"});

    EXPECT_THAT(api.calls(),
                ElementsAre("openUnlockSession(U, a, b)", "openUnlockSession(U, \"a, b\")",
                            "openUnlockSession(U, \"a\\\"b\")"));
}

TEST_F(RecordingKelApiTest, TellsATextThatDoesNotConvertFromTheEmptyOne) {
    api.setServerStatus(std::wstring(1, static_cast<wchar_t>(0xD800)));

    EXPECT_THAT(api.calls(), ElementsAre("setServerStatus(\\D800)"));
}

TEST_F(RecordingKelApiTest, ShowsEveryFieldOfAServiceInput) {
    const auto full = input(L"Hex Service");
    full->requestBytes = {0x22, 0xF1};
    full->parameters = {L""};
    full->context = 3;

    api.executeServiceSync(api.syncServiceResults, L"L", {full, nullptr, input(L"")});

    EXPECT_THAT(api.calls(), ElementsAre("executeServiceSync(L, \"Hex Service\" 22 F1 "
                                         "parameters [\"\"] context 3, null, \"\")"));
}

TEST_F(RecordingKelApiTest, ShowsNullPointers) {
    api.createVehicleReport(api.reportFileName, L"R", nullptr, {}, nullptr);
    api.setServerSettings(nullptr);
    api.setServerHandler(nullptr);

    EXPECT_THAT(api.calls(), ElementsAre("createVehicleReport(R, file name not empty, no DTC "
                                         "configuration, no report configuration)",
                                         "setServerSettings(none)", "setServerHandler(none)"));
}

TEST_F(RecordingKelApiTest, RefusesALaunchWithoutACallback) {
    EXPECT_THROW(api.executeService(L"#OTX", {}, nullptr), std::invalid_argument);
    EXPECT_THROW(api.executeFlashSessions(L"I", {}, 0, nullptr), std::invalid_argument);
    EXPECT_THROW(api.performQuickTest(nullptr, nullptr, nullptr), std::invalid_argument);

    EXPECT_THAT(api.calls(),
                ElementsAre("executeService(#OTX, no callback)",
                            "executeFlashSessions(I, 0, no callback)",
                            "performQuickTest(, no configuration, no DTC configuration, "
                            "no callback)"));
}

TEST_F(RecordingKelApiTest, KeepsSettingsAsTheyWereWhenTheyWereHandedIn) {
    const auto settings = api.getServerSettings();
    settings->brokerUrl = L"first";
    api.setServerSettings(settings);
    settings->brokerUrl = L"second";

    EXPECT_EQ(api.serverSettings->brokerUrl, L"first");
}

TEST_F(RecordingKelApiTest, ThrowsWhatATestAsksFor) {
    api.throwIn("selectProject(P1)", L"gone", 3);
    api.throwOtherIn("getTargets", "other");

    EXPECT_THROW(api.selectProject(L"P1"), Kel_cpp::KelApiException);
    EXPECT_THROW(api.getTargets(api.targets), std::runtime_error);
    api.selectProject(L"P2");
}

} // namespace Quarlen::Tests
