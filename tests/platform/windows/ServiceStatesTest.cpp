#include "platform/windows/ServiceStates.hpp"

#include <atomic>
#include <memory>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Quarlen::Platform::Tests {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// State and checkpoint.
using Told = std::pair<DWORD, DWORD>;

class ServiceStatesOf : public testing::Test {
protected:
    /// What was told since the last call.
    std::vector<Told> news() {
        std::vector<Told> result;
        result.reserve(told.size());
        for (const SERVICE_STATUS& status : told) {
            result.emplace_back(status.dwCurrentState, status.dwCheckPoint);
        }
        if (!told.empty()) {
            last = told.back();
        }
        told.clear();
        return result;
    }

    void run() {
        states.begin();
        states.started();
        news();
    }

    std::shared_ptr<std::atomic<bool>> stopRequested = std::make_shared<std::atomic<bool>>(false);
    std::vector<SERVICE_STATUS> told;
    SERVICE_STATUS last{};
    ServiceStates states{[this](const SERVICE_STATUS& status) { told.push_back(status); },
                         stopRequested};
};

TEST_F(ServiceStatesOf, AStartTellsThatItGoesOn) {
    states.begin();
    states.tick();
    states.tick();

    EXPECT_THAT(news(), ElementsAre(Told(SERVICE_START_PENDING, 1), Told(SERVICE_START_PENDING, 2),
                                    Told(SERVICE_START_PENDING, 3)));
    EXPECT_EQ(last.dwServiceType, DWORD{SERVICE_WIN32_OWN_PROCESS});
    EXPECT_EQ(last.dwWaitHint, 10'000U);
    EXPECT_EQ(last.dwControlsAccepted, 0U);
}

TEST_F(ServiceStatesOf, AStartedProgramRunsAndCanBeStopped) {
    states.begin();
    news();
    states.started();
    states.tick();

    EXPECT_THAT(news(), ElementsAre(Told(SERVICE_RUNNING, 0)));
    EXPECT_EQ(last.dwWaitHint, 0U);
    EXPECT_EQ(last.dwControlsAccepted,
              DWORD{SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN | SERVICE_ACCEPT_PRESHUTDOWN});
}

TEST_F(ServiceStatesOf, AStartWithoutEndCanBeStoppedAfterAWhile) {
    states.begin();
    for (int tick = 0; tick < ServiceStates::maxStartTicks - 1; ++tick) {
        states.tick();
    }
    EXPECT_EQ(news().back().first, DWORD{SERVICE_START_PENDING});

    states.tick();
    states.started();

    EXPECT_THAT(news(), ElementsAre(Told(SERVICE_RUNNING, 0)));
}

class StopControl : public ServiceStatesOf, public testing::WithParamInterface<DWORD> {};

TEST_P(StopControl, RaisesTheFlagAndTellsThatTheStopGoesOn) {
    run();

    EXPECT_EQ(states.onControl(GetParam()), DWORD{NO_ERROR});
    EXPECT_TRUE(*stopRequested);
    states.tick();
    states.started();

    EXPECT_THAT(news(), ElementsAre(Told(SERVICE_STOP_PENDING, 1), Told(SERVICE_STOP_PENDING, 2)));
    EXPECT_EQ(last.dwWaitHint, 10'000U);
    EXPECT_EQ(last.dwControlsAccepted, 0U);
}

INSTANTIATE_TEST_SUITE_P(Controls, StopControl,
                         testing::Values(SERVICE_CONTROL_STOP, SERVICE_CONTROL_SHUTDOWN,
                                         SERVICE_CONTROL_PRESHUTDOWN));

TEST_F(ServiceStatesOf, AStopOfAnotherWayIsTold) {
    run();
    *stopRequested = true; // by a client
    states.tick();

    EXPECT_THAT(news(), ElementsAre(Told(SERVICE_STOP_PENDING, 1)));
}

TEST_F(ServiceStatesOf, AQuestionIsAnsweredWithTheState) {
    run();

    EXPECT_EQ(states.onControl(SERVICE_CONTROL_INTERROGATE), DWORD{NO_ERROR});

    EXPECT_THAT(news(), ElementsAre(Told(SERVICE_RUNNING, 0)));
    EXPECT_FALSE(*stopRequested);
}

TEST_F(ServiceStatesOf, AnUnknownControlIsRefused) {
    run();

    EXPECT_EQ(states.onControl(SERVICE_CONTROL_PAUSE), DWORD{ERROR_CALL_NOT_IMPLEMENTED});

    EXPECT_THAT(news(), IsEmpty());
    EXPECT_FALSE(*stopRequested);
}

TEST_F(ServiceStatesOf, AnOrderlyEndIsNoError) {
    run();
    states.ended(0);

    EXPECT_THAT(news(), ElementsAre(Told(SERVICE_STOPPED, 0)));
    EXPECT_EQ(last.dwWin32ExitCode, DWORD{NO_ERROR});
}

TEST_F(ServiceStatesOf, AFailedProgramTellsItsExitCode) {
    states.begin();
    states.ended(2);

    EXPECT_EQ(news().back(), Told(SERVICE_STOPPED, 0));
    EXPECT_EQ(last.dwWin32ExitCode, DWORD{ERROR_SERVICE_SPECIFIC_ERROR});
    EXPECT_EQ(last.dwServiceSpecificExitCode, 2U);
}

TEST_F(ServiceStatesOf, TheEndIsTheLastThatIsTold) {
    run();
    states.ended(0);
    news();

    states.tick();
    states.onControl(SERVICE_CONTROL_INTERROGATE);
    states.onControl(SERVICE_CONTROL_STOP);

    EXPECT_THAT(news(), IsEmpty());
}

} // namespace

} // namespace Quarlen::Platform::Tests
