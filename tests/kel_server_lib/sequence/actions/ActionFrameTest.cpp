#include "kel_server_lib/sequence/actions/ActionFrame.hpp"

#include <atomic>
#include <stdexcept>

#include "tests/kel_server_lib/sequence/actions/ActionFixture.hpp"

namespace Quarlen::Tests {

using testing::ElementsAre;
using testing::IsEmpty;

class ActionFrame : public ActionFixture {
protected:
    bool run(const std::function<void()>& steps) {
        return runInActionFrame(handler, *api, L"runSomething", steps);
    }
    bool runFailing() {
        return run([] { throw Kel_cpp::KelApiException(L"gone", 3); });
    }
};

TEST_F(ActionFrame, TracesAndEndsIdle) {
    const TraceCapture traces;

    EXPECT_TRUE(run([this] { api->connectVehicle(); }));

    EXPECT_THAT(api->calls(), ElementsAre("connectVehicle()", "setServerStatus(Idle)"));
    EXPECT_THAT(traces.texts(), ElementsAre(L"-> runSomething", L"<- runSomething"));
}

TEST_F(ActionFrame, TracesInTheNameOfTheSequenceHandler) {
    const TraceCapture traces;

    EXPECT_TRUE(run([] {}));

    ASSERT_EQ(traces.lines().size(), 2U);
    for (const StdUtil::TraceLine& line : traces.lines()) {
        EXPECT_EQ(line.source, L"kel_server_lib/ServerHandlerSequence");
        EXPECT_EQ(line.level, StdUtil::TraceLevel::Info);
    }
}

TEST_F(ActionFrame, TracesItsBeginningBeforeItsSteps) {
    const TraceCapture traces;
    std::vector<std::wstring> atTheSteps;

    EXPECT_TRUE(run([&] { atTheSteps = traces.texts(); }));

    EXPECT_THAT(atTheSteps, ElementsAre(L"-> runSomething"));
}

TEST_F(ActionFrame, TracesItsEndBeforeItGoesIdle) {
    const TraceCapture traces;
    std::vector<std::wstring> atIdle;
    api->during("setServerStatus(Idle)", [&] { atIdle = traces.texts(); });

    EXPECT_TRUE(run([] {}));

    EXPECT_THAT(atIdle, ElementsAre(L"-> runSomething", L"<- runSomething"));
}

TEST_F(ActionFrame, LeavesTheJobFieldToItsSteps) {
    handler.currentJobId = 7;

    EXPECT_TRUE(run([] {}));

    EXPECT_EQ(handler.currentJobId, 7U);
    EXPECT_EQ(printed(), "");
}

TEST_F(ActionFrame, TellsAFailureOfTheRuntimeOnConsoleAndStatus) {
    handler.currentJobId = 7;

    EXPECT_FALSE(run([] { throw Kel_cpp::KelApiException(L"Ger\u00E4t fehlt", -12); }));

    EXPECT_EQ(printed(), "Exception caught: Ger\xC3\xA4t fehlt code: -12\n");
    EXPECT_THAT(api->calls(), ElementsAre("setServerStatus(Exception caught: Ger\xC3\xA4t fehlt)"));
    EXPECT_EQ(handler.currentJobId, 0U);
}

TEST_F(ActionFrame, TellsAFailureOnTheConsoleBeforeItForgetsTheJob) {
    handler.currentJobId = 7;
    std::vector<std::uint64_t> jobIdsAtTheLine;
    onConsoleFlush([&] { jobIdsAtTheLine.push_back(handler.currentJobId); });

    EXPECT_FALSE(runFailing());

    EXPECT_THAT(jobIdsAtTheLine, ElementsAre(7U));
}

TEST_F(ActionFrame, ShowsAFailureAsTheStatusAfterConsoleLineAndJobField) {
    handler.currentJobId = 7;
    std::string printedBefore;
    std::uint64_t jobIdBefore = 7;
    api->during("setServerStatus", [&] {
        printedBefore = printed();
        jobIdBefore = handler.currentJobId;
    });

    EXPECT_FALSE(runFailing());

    EXPECT_EQ(printedBefore, "Exception caught: gone code: 3\n");
    EXPECT_EQ(jobIdBefore, 0U);
}

TEST_F(ActionFrame, LetsAFailureOfTheFailureStatusPass) {
    handler.currentJobId = 7;
    api->throwIn("setServerStatus(Exception caught: gone)", L"again", 4);

    EXPECT_THROW(runFailing(), Kel_cpp::KelApiException);

    EXPECT_THAT(api->calls(), ElementsAre("setServerStatus(Exception caught: gone)"));
    EXPECT_EQ(printed(), "Exception caught: gone code: 3\n");
    EXPECT_EQ(handler.currentJobId, 0U);
}

TEST_F(ActionFrame, TracesNoEndOfAFailedAction) {
    const TraceCapture traces;

    EXPECT_FALSE(runFailing());

    EXPECT_THAT(traces.texts(), ElementsAre(L"-> runSomething"));
}

TEST_F(ActionFrame, TreatsAFailureOfTheFinalStatusLikeAnyOther) {
    handler.currentJobId = 7;
    api->throwIn("setServerStatus(Idle)", L"gone", 3);

    EXPECT_FALSE(run([] {}));

    EXPECT_THAT(api->calls(),
                ElementsAre("setServerStatus(Idle)", "setServerStatus(Exception caught: gone)"));
    EXPECT_EQ(printed(), "Exception caught: gone code: 3\n");
    EXPECT_EQ(handler.currentJobId, 0U);
}

TEST_F(ActionFrame, LetsOtherExceptionsPassWithoutAnotherStep) {
    handler.currentJobId = 7;
    const TraceCapture traces;

    EXPECT_THROW(run([] { throw std::runtime_error("other"); }), std::runtime_error);

    EXPECT_EQ(printed(), "");
    EXPECT_THAT(api->calls(), IsEmpty());
    EXPECT_EQ(handler.currentJobId, 7U);
    EXPECT_THAT(traces.texts(), ElementsAre(L"-> runSomething"));
}

TEST_F(ActionFrame, WaitsForAJobInStepsOfTenMilliseconds) {
    handler.serviceReporter.expectJob();
    clock.onSleep([this](auto) {
        handler.serviceReporter.report({}, 0, nullptr, clock.sleeps().size() == 2);
    });

    waitForJob(handler, handler.serviceReporter);

    EXPECT_THAT(clock.sleeps(),
                ElementsAre(std::chrono::milliseconds(10), std::chrono::milliseconds(10)));
}

/// Counts how often it is asked through its lock.
struct AskedReporter {
    [[nodiscard]] bool isDone() const {
        ++asked;
        return done;
    }

    std::atomic<bool> done{false};
    mutable int asked = 0;
};

TEST_F(ActionFrame, WaitsForAJobWithoutTheReportersLock) {
    AskedReporter reporter;
    clock.onSleep([&](auto) { reporter.done = true; });

    waitForJob(handler, reporter);

    EXPECT_EQ(reporter.asked, 0);
    EXPECT_EQ(clock.sleeps().size(), 1U);
}

TEST_F(ActionFrame, DoesNotSleepForAJobThatHasEnded) {
    waitForJob(handler, handler.serviceReporter);

    EXPECT_THAT(clock.sleeps(), IsEmpty());
}

TEST_F(ActionFrame, ALaunchThatFailsInAnyWayLeavesNoJobOutstanding) {
    handler.currentJobId = 7;

    EXPECT_THROW(launchJob(handler, handler.serviceReporter,
                           []() -> std::uint64_t { throw std::runtime_error("other"); }),
                 std::runtime_error);

    EXPECT_TRUE(handler.serviceReporter.done);
    EXPECT_EQ(handler.currentJobId, 7U);
}

} // namespace Quarlen::Tests
