#include "kel_cpp/base/RuntimeError.hpp"
#include "tests/kel_cpp/RuntimeFixture.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

class RuntimeUnlock : public RuntimeFixture {
protected:
    /// Only an unlocked extended session may write the fingerprint.
    bool mayWrite() { return hexService(L"UDS_CAN_D", {0x2E, 0xF1, 0x5A, 1, 2, 3, 4})->error == 0; }

    std::wstring unlockError(const std::wstring& name,
                             const std::vector<std::wstring>& parameters) {
        try {
            runtime->openUnlockSession(name, parameters);
        } catch (const KelApiException& exception) {
            EXPECT_EQ(exception.code(), static_cast<std::int32_t>(ErrorCode::Unlock));
            return exception.message();
        }
        return {};
    }
};

} // namespace

TEST_F(RuntimeUnlock, UnlocksTheControlUnit) {
    connect();
    EXPECT_FALSE(mayWrite());
    EXPECT_NE(runtime->openUnlockSession(L"UnlockGateway", {L"level1"})->handle, 0U);
    EXPECT_TRUE(mayWrite());
}

TEST_F(RuntimeUnlock, TheControlUnitLocksAgainSomeTimeAfterTheRelease) {
    connect();
    const auto session = runtime->openUnlockSession(L"UnlockGateway", {L"level1"});
    runtime->releaseJob(session->handle);
    clock.advance(std::chrono::seconds(6));
    EXPECT_FALSE(mayWrite());
}

TEST_F(RuntimeUnlock, IsKeptOnlyUntilItsRelease) {
    const RuntimeEnvironment environment{folder.config(), folder.base(), clock,
                                         std::chrono::hours(1)};
    runtime = std::make_shared<Runtime>(environment);
    runtime->initialize();
    connect();
    const auto session = runtime->openUnlockSession(L"UnlockGateway", {L"level1"});
    const auto passTime = [this] {
        clock.advance(std::chrono::seconds(4));
        runtime->keepSessions();
        clock.advance(std::chrono::seconds(4));
    };
    passTime();
    EXPECT_TRUE(mayWrite());
    runtime->releaseJob(session->handle);
    passTime();
    EXPECT_FALSE(mayWrite());
}

TEST_F(RuntimeUnlock, IsKeptAliveAtLeastTwiceWithinTheSessionTimeout) {
    const RuntimeEnvironment usual{folder.config(), folder.base(), clock};
    EXPECT_LT(usual.testerPresentInterval * 2, std::chrono::seconds(5));
}

TEST_F(RuntimeUnlock, ClosingTheVehicleEndsTheSession) {
    connect();
    const auto session = runtime->openUnlockSession(L"UnlockGateway", {L"level1"});
    runtime->selectProject(L"");
    clock.advance(std::chrono::seconds(6));
    connect();
    EXPECT_FALSE(mayWrite());
    EXPECT_EQ(errorOf([&] { runtime->releaseJob(session->handle); }), L"");
}

TEST_F(RuntimeUnlock, AnErrorNamesUnlockParameterAndCause) {
    connect();
    EXPECT_EQ(unlockError(L"UnlockEngine", {L"level1"}),
              L"unlock \"UnlockEngine\" with parameter \"level1\" failed: project "
              L"\"Car_DEMO0000000042\" has no such unlock");
    EXPECT_EQ(unlockError(L"UnlockGateway", {L"level9"}),
              L"unlock \"UnlockGateway\" with parameter \"level9\" failed: the unlock has no such "
              L"parameter");
    EXPECT_NE(unlockError(L"UnlockGateway", {}).find(L"one parameter is needed, not 0"),
              std::wstring::npos);
}

TEST_F(RuntimeUnlock, AWrongKeyIsTheCause) {
    folder.replaceIn("projects/Car_DEMO0000000042/project.xml", "keyMask=\"0x5A3C96E1\"",
                     "keyMask=\"0x00000001\"");
    connect();
    EXPECT_NE(unlockError(L"UnlockGateway", {L"level1"}).find(L"invalid key"), std::wstring::npos);
    EXPECT_FALSE(mayWrite());
}

TEST_F(RuntimeUnlock, NeedsAConnectedVehicle) {
    EXPECT_NE(unlockError(L"UnlockGateway", {L"level1"}).find(L"no project is selected"),
              std::wstring::npos);
    runtime->selectProject(L"Car_DEMO0000000042");
    runtime->selectVehicleInformation(L"VIT_A");
    EXPECT_NE(unlockError(L"UnlockGateway", {L"level1"}).find(L"is not connected"),
              std::wstring::npos);
}

} // namespace Quarlen::Kel_cpp::Tests
