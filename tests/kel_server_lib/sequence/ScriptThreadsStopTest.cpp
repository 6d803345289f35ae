#include <atomic>
#include <chrono>
#include <thread>

#include "kel_server_lib/sequence/ServerHandlerSequence.hpp"
#include "tests/kel_server_lib/sequence/DuringTraces.hpp"
#include "tests/kel_server_lib/sequence/SequenceFixture.hpp"

namespace Quarlen::Tests {

using namespace std::chrono_literals;
using testing::ElementsAre;

/// The steps of stopping the button threads, each looked at in the moment it is traced.
class ScriptThreadsStop : public SequenceFixture {
protected:
    ScriptThreadsStop() {
        clock.onSleep([](auto) { std::this_thread::yield(); });
        writeF1Sensor("1000\n");
        writeF2Sensor("1000\n");
    }
};

TEST_F(ScriptThreadsStop, RaisesTheStopBeforeItWaitsForAThread) {
    handler.startF1ScriptThread(L"A.xml", api);
    bool raised = false;
    const DuringTraces watch([&](const std::wstring& text) {
        raised = raised || (text == L"-> wait to stop F1 thread" && handler.stopRequested);
    });

    handler.stopScriptThreads();

    EXPECT_TRUE(raised);
}

TEST_F(ScriptThreadsStop, WaitsBetweenItsTwoTraces) {
    handler.startF1ScriptThread(L"A.xml", api);
    handler.startF2ScriptThread(L"B.xml", api);
    std::vector<std::wstring> afterItsEnd;
    const DuringTraces watch([&](const std::wstring& text) {
        const ButtonSlot& slot = text.find(L"F1") != std::wstring::npos ? handler.f1 : handler.f2;
        if (slot.thread && !slot.thread->joinable()) {
            afterItsEnd.push_back(text);
        }
    });

    handler.stopScriptThreads();

    EXPECT_THAT(afterItsEnd, ElementsAre(L"-> start stop F1 thread", L"-> start stop F2 thread"));
}

TEST_F(ScriptThreadsStop, TellsBothToEndBeforeItWaitsForTheFirst) {
    handler.startF1ScriptThread(L"A.xml", api);
    handler.startF2ScriptThread(L"B.xml", api);
    bool bothTold = false;
    const DuringTraces watch([&](const std::wstring& text) {
        if (text == L"-> wait to stop F1 thread") {
            bothTold =
                handler.f1.endRequest.stop_requested() && handler.f2.endRequest.stop_requested();
        }
    });

    handler.stopScriptThreads();

    EXPECT_TRUE(bothTold);
}

TEST_F(ScriptThreadsStop, LeavesTheStopRaisedWhoeverLoweredItMeanwhile) {
    handler.startF2ScriptThread(L"B.xml", api);
    const DuringTraces watch([&](const std::wstring& text) {
        if (text == L"-> start stop F2 thread") {
            handler.lowerStop();
        }
    });

    handler.stopScriptThreads();

    EXPECT_TRUE(handler.stopRequested);
}

TEST_F(ScriptThreadsStop, ReleasesApiAndSamplesAndKeepsTheScriptOfEach) {
    handler.startF1ScriptThread(L"A.xml", api);
    handler.startF2ScriptThread(L"B.xml", api);
    while (clock.sleptInTotal() < 2s) {
        std::this_thread::yield();
    }

    handler.stopScriptThreads();

    for (const ButtonSlot* const slot : {&handler.f1, &handler.f2}) {
        EXPECT_FALSE(slot->thread);
        EXPECT_EQ(slot->api, nullptr);
        EXPECT_TRUE(slot->samples.empty());
    }
    EXPECT_EQ(handler.f1.scriptName, L"A.xml");
    EXPECT_EQ(handler.f2.scriptName, L"B.xml");
}

TEST_F(ScriptThreadsStop, StopsARunThatBeginsAfterSomebodyLoweredTheStop) {
    writeScript("A.xml", R"(<ExecuteAction command="One"/>)");
    std::atomic<bool> pressed{false};
    duringLed([&](const std::string& colour) {
        if (colour == "0 0 255" && !pressed.exchange(true)) {
            while (!handler.f1.endRequest.stop_requested()) {
                std::this_thread::yield();
            }
            handler.lowerStop();
        }
    });
    api->during("setServerStatus(Running sequence: A.xml)", [this] {
        const auto giveUp = std::chrono::steady_clock::now() + 60s;
        while (!handler.stopRequested && std::chrono::steady_clock::now() < giveUp) {
            std::this_thread::yield();
        }
    });
    holdHandOverF1Sensor();
    handler.startF1ScriptThread(L"A.xml", api);
    while (!pressed) {
        std::this_thread::yield();
    }

    handler.stopScriptThreads();

    EXPECT_EQ(api->count("executeService(#OTX, One)"), 0U);
}

TEST_F(ScriptThreadsStop, AThreadThatIsStartedAgainIsNotToldToEnd) {
    handler.startF1ScriptThread(L"A.xml", api);
    handler.stopScriptThreads();
    handler.lowerStop();
    const auto before = clock.sleptInTotal();

    handler.startF1ScriptThread(L"A.xml", api);
    while (clock.sleptInTotal() < before + 1s) {
        ASSERT_FALSE(handler.f1.ended);
        std::this_thread::yield();
    }
}

/// Each button's thread watches its own sensor for its own slot.
class ScriptThreadOfEachButton : public ScriptThreadsStop,
                                 public testing::WithParamInterface<int> {};

TEST_P(ScriptThreadOfEachButton, WatchesTheSensorOfItsButton) {
    writeF1Sensor("1111\n");
    writeF2Sensor("2222\n");
    std::deque<std::int32_t> f1Samples;
    std::deque<std::int32_t> f2Samples;
    std::atomic<int> passes{0};
    clock.onSleep([&](auto duration) {
        if (duration == 200ms && passes < 3) {
            f1Samples = handler.f1.samples;
            f2Samples = handler.f2.samples;
            ++passes;
        }
        std::this_thread::yield();
    });

    GetParam() == 1 ? handler.startF1ScriptThread(L"A.xml", api)
                    : handler.startF2ScriptThread(L"A.xml", api);
    while (passes < 3) {
        std::this_thread::yield();
    }
    handler.stopScriptThreads();

    using Samples = std::deque<std::int32_t>;
    EXPECT_EQ(f1Samples, GetParam() == 1 ? Samples(3, 1111) : Samples());
    EXPECT_EQ(f2Samples, GetParam() == 2 ? Samples(3, 2222) : Samples());
}

INSTANTIATE_TEST_SUITE_P(Buttons, ScriptThreadOfEachButton, testing::Values(1, 2),
                         [](const auto& test) { return "F" + std::to_string(test.param); });

} // namespace Quarlen::Tests
