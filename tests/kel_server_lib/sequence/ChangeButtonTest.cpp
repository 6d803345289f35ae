#include <thread>

#include "kel_server_lib/sequence/ServerHandlerSequence.hpp"
#include "tests/kel_server_lib/sequence/DuringTraces.hpp"
#include "tests/kel_server_lib/sequence/SequenceFixture.hpp"

namespace Quarlen::Tests {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

/// A handler that tells of its cancels.
class WatchedHandler : public ServerHandlerSequence {
public:
    using ServerHandlerSequence::ServerHandlerSequence;

    void cancelSequence(Api api, std::shared_ptr<Kel_cpp::ClientContext> context,
                        bool& handled) override {
        ++cancels;
        withContext = withContext || context != nullptr;
        handledBefore = handledBefore || handled;
        if (onCancel) {
            onCancel();
        }
        ServerHandlerSequence::cancelSequence(std::move(api), std::move(context), handled);
    }

    int cancels = 0;
    bool withContext = false;
    bool handledBefore = false;
    std::function<void()> onCancel;
};

/// Both change operations, which are mirror images of each other.
class ChangeButton : public SequenceFixture, public testing::WithParamInterface<int> {
protected:
    ChangeButton() {
        clock.onSleep([](auto) { std::this_thread::yield(); });
        writeF1Sensor("1000\n");
        writeF2Sensor("1000\n");
    }

    void change(const std::wstring& name) {
        GetParam() == 1 ? watched.changeF1Sequence(name, api) : watched.changeF2Sequence(name, api);
    }
    void startOther(const std::wstring& name) {
        GetParam() == 1 ? watched.startF2ScriptThread(name, api)
                        : watched.startF1ScriptThread(name, api);
    }
    [[nodiscard]] ButtonSlot& own() { return GetParam() == 1 ? watched.f1 : watched.f2; }
    [[nodiscard]] ButtonSlot& other() { return GetParam() == 1 ? watched.f2 : watched.f1; }

    [[nodiscard]] bool buttonMutexIsFree() {
        bool free = false;
        std::jthread([&] {
            free = watched.buttonMutex.try_lock();
            if (free) {
                watched.buttonMutex.unlock();
            }
        }).join();
        return free;
    }

    WatchedHandler watched{environment()};
};

TEST_P(ChangeButton, CancelsOnceThroughTheCallbackForNobodyInParticular) {
    change(L"A.xml");

    EXPECT_EQ(watched.cancels, 1);
    EXPECT_FALSE(watched.withContext);
    EXPECT_FALSE(watched.handledBefore);
    EXPECT_EQ(api->count("setServerStatus(Running cancel sequence)"), 1U);
}

TEST_P(ChangeButton, HoldsTheButtonMutexFromItsFirstTraceToItsLastStart) {
    startOther(L"B.xml");
    std::vector<bool> free;
    {
        const DuringTraces watch([&](const std::wstring&) { free.push_back(buttonMutexIsFree()); });
        change(L"A.xml");
    }

    EXPECT_THAT(free, Not(IsEmpty()));
    EXPECT_THAT(free, Each(false));
    EXPECT_TRUE(buttonMutexIsFree());
}

TEST_P(ChangeButton, KeepsTheOtherScriptAsItWasBeforeTheCancel) {
    startOther(L"B.xml");
    watched.onCancel = [this] { other().scriptName = L"Changed.xml"; };

    change(L"A.xml");

    EXPECT_EQ(other().scriptName, L"B.xml");
    EXPECT_TRUE(other().thread);
}

TEST_P(ChangeButton, StopsTheThreadsAlsoWhenTheCancelDoesNothing) {
    startOther(L"B.xml");
    own().scriptName = L"Old.xml";
    api->activeConnections.clear();
    TraceCapture traces;

    change(L"");

    EXPECT_EQ(own().scriptName, L"");
    EXPECT_TRUE(watched.stopRequested);
    EXPECT_EQ(traces.texts()[3].substr(0, 15), L"-> wait to stop");
}

TEST_P(ChangeButton, BindsTheOtherButtonToTheSameRuntime) {
    const auto older = std::make_shared<RecordingKelApi>();
    GetParam() == 1 ? watched.startF2ScriptThread(L"B.xml", older)
                    : watched.startF1ScriptThread(L"B.xml", older);

    change(L"A.xml");

    EXPECT_EQ(own().api, api);
    EXPECT_EQ(other().api, api);
}

TEST_P(ChangeButton, StartsNoThreadForAnOtherButtonWithoutScript) {
    change(L"A.xml");

    EXPECT_TRUE(own().thread);
    EXPECT_FALSE(other().thread);
}

TEST_P(ChangeButton, ThatFailsStartsNothingAndKeepsTheScripts) {
    startOther(L"B.xml");
    own().scriptName = L"Old.xml";
    api->throwIn("selectProject()", L"gone", 3);

    EXPECT_THROW(change(L"A.xml"), Kel_cpp::KelApiException);

    EXPECT_EQ(own().scriptName, L"Old.xml");
    EXPECT_FALSE(own().thread || other().thread);
    EXPECT_TRUE(buttonMutexIsFree());
}

INSTANTIATE_TEST_SUITE_P(Buttons, ChangeButton, testing::Values(1, 2),
                         [](const auto& test) { return "F" + std::to_string(test.param); });

} // namespace Quarlen::Tests
