#include <functional>

#include <gtest/gtest.h>

#include "kel_cpp/history/RunLog.hpp"
#include "tests/kel_cpp/RuntimeFixture.hpp"
#include "tests/kel_cpp/network/RpcTestClient.hpp"
#include "tests/support/LoopbackPort.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

struct Operation {
    std::string name;
    std::function<void(Runtime&)> call;
};

/// A run of this thread, as of a button, and a client that asks what came of it.
class RunOnTheRuntime : public RuntimeFixture, public testing::WithParamInterface<Operation> {
protected:
    void SetUp() override {
        RuntimeFixture::SetUp();
        address = runtime->startServer(L"127.0.0.1:" + std::to_wstring(Quarlen::Tests::freePort()));
        client.emplace(address);
    }
    void TearDown() override {
        client.reset();
        runtime->stopServer(address);
    }
    json::value outcome() {
        const json::value runs = client->result("runs.list");
        return runs.as_array().back().at("outcome");
    }
    void endsByText(const std::wstring& text, bool takesTheProjectAway) {
        std::thread([&] {
            runtime->setServerStatus(text);
            if (takesTheProjectAway) {
                runtime->selectProject(L"");
            }
            runtime->setServerStatus(L"Idle");
        }).join();
    }

    std::wstring address;
    std::optional<RpcTestClient> client;
};

} // namespace

TEST_F(RunOnTheRuntime, IsTheLatestUntilTheNextOneBegins) {
    EXPECT_FALSE(runtime->latestRun());
    runtime->setServerStatus(L"Running sequence: A.xml");
    EXPECT_EQ(runtime->latestRun().value().name, L"A.xml");
    runtime->setServerStatus(L"Running sequence: B.xml");
    runtime->setServerStatus(L"Idle");
    later = std::chrono::seconds(2);
    EXPECT_EQ(runtime->latestRun().value().name, L"B.xml");
    EXPECT_EQ(runtime->latestRun().value().outcome, RunOutcome::Clean);
}

TEST(StatusOfARuntime, IsHeardByTheListenerOfItsEnvironment) {
    const ConfigFolder folder;
    std::vector<std::wstring> heard;
    RuntimeEnvironment environment{folder.config(), folder.base(), Platform::systemClock()};
    environment.onStatus = [&](const StatusEntry& status) { heard.push_back(status.text); };
    Runtime runtime(environment);
    runtime.setServerStatus(L"one");
    runtime.setServerStatus(L"two");
    EXPECT_EQ(heard, (std::vector<std::wstring>{L"one", L"two"}));
}

TEST_F(RunOnTheRuntime, HasEndedWhenNothingFollows) {
    runtime->setServerStatus(L"Running sequence: Missing.xml");
    later = std::chrono::seconds(9);
    EXPECT_EQ(outcome(), json::value(nullptr));
    later = std::chrono::seconds(10);
    EXPECT_EQ(outcome(), json::value("failed"));
}

TEST_P(RunOnTheRuntime, HasNotEndedWhenItUsesTheRuntime) {
    runtime->setServerStatus(L"Running sequence: A.xml");
    EXPECT_NO_THROW(try { GetParam().call(*runtime); } catch (const KelApiException&){});
    later = std::chrono::seconds(100);

    EXPECT_EQ(outcome(), json::value(nullptr));
}

INSTANTIATE_TEST_SUITE_P(
    BetweenTwoActions, RunOnTheRuntime,
    testing::Values(Operation{"Unlock",
                              [](Runtime& runtime) { runtime.openUnlockSession(L"U", {L"1"}); }},
                    Operation{"Release", [](Runtime& runtime) { runtime.releaseJob(1); }},
                    Operation{"Select", [](Runtime& runtime) { runtime.selectProject(L""); }},
                    Operation{"Folders",
                              [](Runtime& runtime) {
                                  RecordList<DataFolder> folders;
                                  runtime.getDataFolders(folders, 0);
                              }},
                    Operation{"Packages",
                              [](Runtime& runtime) {
                                  RecordList<UpdateDescription> descriptions;
                                  runtime.prepareUpdatePackages({}, descriptions);
                              }}),
    [](const auto& operation) { return operation.param.name; });

TEST_F(RunOnTheRuntime, IsCancelledByACancelThatTakesItsProjectAway) {
    runtime->setServerStatus(L"Running sequence: A.xml");
    endsByText(L"Running cancel sequence", true);
    EXPECT_NE(client->result("sequence.lastCancel"), json::value(nullptr));
    runtime->setServerStatus(L"Idle");
    later = std::chrono::seconds(1);

    EXPECT_EQ(outcome(), json::value("cancelled"));
}

TEST_F(RunOnTheRuntime, IsNotCancelledByACancelThatChangesNothingButTheStatus) {
    runtime->setServerStatus(L"Running sequence: A.xml");
    endsByText(L"Running cancel sequence", false);
    EXPECT_EQ(client->result("sequence.lastCancel"), json::value(nullptr));
    runtime->setServerStatus(L"Running execute action: A");
    // Choosing another project is no end.
    EXPECT_THROW(runtime->selectProject(L"none"), KelApiException);
    runtime->setServerStatus(L"Idle");
    later = std::chrono::seconds(1);

    EXPECT_EQ(outcome(), json::value("clean"));
}

TEST_F(RunOnTheRuntime, GoesOnWhenAnotherProjectIsChosenDuringACancel) {
    runtime->setServerStatus(L"Running sequence: A.xml");
    runtime->setServerStatus(L"Running cancel sequence");
    runtime->selectProject(L"Car_DEMO0000000042");
    runtime->setServerStatus(L"Idle");
    later = std::chrono::seconds(1);

    EXPECT_EQ(outcome(), json::value("clean"));
}

} // namespace Quarlen::Kel_cpp::Tests
