#include <chrono>

#include "kel_server_lib/sequence/actions/FlashingAction.hpp"
#include "tests/kel_server_lib/sequence/actions/FlashingFixture.hpp"

namespace Quarlen::Tests {

using namespace std::chrono_literals;
using testing::ElementsAre;

class FlashingProgress : public FlashingFixture {};

TEST_F(FlashingProgress, ShowsTheLatestProgressOnceInEveryHundredMilliseconds) {
    reportAtLaunch({progress(10, L"S1"), progress(45, L"S1")});
    clock.onSleep([&](auto) {
        if (clock.sleeps().size() == 2) {
            job.report({progress(100, L"S1")}, true);
        }
    });

    EXPECT_TRUE(run({L"Item"}));

    EXPECT_THAT(clock.sleeps(), ElementsAre(100ms, 100ms));
    EXPECT_THAT(statuses(), ElementsAre("setServerStatus(Running flashing action)",
                                        "setServerStatus(45% of Flashsession S1 done)",
                                        "setServerStatus(Idle)"));
}

TEST_F(FlashingProgress, WaitsInEveryPassWhetherSomethingWasReportedOrNot) {
    reportAtLaunch({progress(10, L"S1")});
    std::vector<std::size_t> sleepsAtStatus;
    // The next result is there as soon as the last one is shown.
    for (const char* const shown : {"10", "20"}) {
        api->during("setServerStatus(" + std::string(shown) + "% of Flashsession S1 done)", [&] {
            sleepsAtStatus.push_back(clock.sleeps().size());
            job.report({progress(sleepsAtStatus.size() == 1 ? 20 : 30, L"S1")}, false);
        });
    }
    clock.onSleep([&](auto) {
        if (clock.sleeps().size() == 5) {
            job.end();
        }
    });

    EXPECT_TRUE(run({L"Item"}));

    EXPECT_THAT(sleepsAtStatus, ElementsAre(0U, 1U));
    EXPECT_THAT(clock.sleeps(), ElementsAre(100ms, 100ms, 100ms, 100ms, 100ms));
}

TEST_F(FlashingProgress, WritesProgressWithoutLeadingZeros) {
    reportAtLaunch({progress(0, L"S1")});
    endJobAtFirstSleep();

    EXPECT_TRUE(run({L"Item"}));

    EXPECT_EQ(statuses().at(1), "setServerStatus(0% of Flashsession S1 done)");
}

TEST_F(FlashingProgress, WritesTheGreatestProgressUnsigned) {
    reportAtLaunch({progress(65535, L"S1")});
    endJobAtFirstSleep();

    EXPECT_TRUE(run({L"Item"}));

    EXPECT_EQ(statuses().at(1), "setServerStatus(65535% of Flashsession S1 done)");
}

TEST_F(FlashingProgress, AJobErrorIsShownAndChangesNothingElse) {
    api->flashJob = [](Callback& callback) {
        callback.report({progress(30, L"S1"), failure(L"no memory")}, 0, nullptr, true);
    };

    EXPECT_TRUE(run({L"One", L"Two"}));

    EXPECT_THAT(statuses(),
                ElementsAre("setServerStatus(Running flashing action)",
                            "setServerStatus(Flashing aborted due to flashjob error: no memory)",
                            "setServerStatus(Flashing aborted due to flashjob error: no memory)",
                            "setServerStatus(Idle)"));
    EXPECT_EQ(api->count("executeFlashSessions(Two, 0)"), 1U);
}

TEST_F(FlashingProgress, ShowsTheInterfacesErrorBehindTheJobError) {
    api->flashJob = [](Callback& callback) {
        const auto result = failure(L"lost");
        result->jobError->vciServerError = std::make_shared<Kel_cpp::VciServerError>();
        result->jobError->vciServerError->message = L"VCI gone";
        callback.report({result}, 0, nullptr, true);
    };

    EXPECT_TRUE(run({L"Item"}));

    EXPECT_EQ(statuses().at(1), "setServerStatus(Flashing aborted due to flashjob error: lost"
                                " VCIServerError: VCI gone)");
}

TEST_F(FlashingProgress, ShowsAnInterfacesErrorWithoutAMessageToo) {
    api->flashJob = [](Callback& callback) {
        const auto result = failure(L"lost");
        result->jobError->vciServerError = std::make_shared<Kel_cpp::VciServerError>();
        callback.report({result}, 0, nullptr, true);
    };

    EXPECT_TRUE(run({L"Item"}));

    EXPECT_EQ(statuses().at(1), "setServerStatus(Flashing aborted due to flashjob error: lost"
                                " VCIServerError: )");
}

TEST_F(FlashingProgress, ShowsAProgressThatIsReportedAgainAgain) {
    reportAtLaunch({progress(10, L"S1")});
    clock.onSleep([this](auto) {
        if (clock.sleeps().size() == 1) {
            job.report({progress(10, L"S1")}, false);
        } else {
            job.end();
        }
    });

    EXPECT_TRUE(run({L"Item"}));

    EXPECT_EQ(api->count("setServerStatus(10% of Flashsession S1 done)"), 2U);
}

TEST_F(FlashingProgress, WaitsOnceMoreWhenTheJobEndsAsItsProgressIsShown) {
    reportAtLaunch({progress(10, L"S1")});
    api->during("setServerStatus(10% of Flashsession S1 done)", [this] { job.end(); });

    EXPECT_TRUE(run({L"Item"}));

    EXPECT_THAT(clock.sleeps(), ElementsAre(100ms));
}

TEST_F(FlashingProgress, KeepsTheLastProgressUntilTheNextItemOrIdle) {
    std::uint16_t percent = 0;
    api->flashJob = [&](Callback& callback) {
        job.keep(callback);
        percent = static_cast<std::uint16_t>(percent + 40);
        job.report({progress(percent, L"S1")}, false);
    };
    clock.onSleep([&](auto) { job.report({progress(100, L"S1")}, true); });

    EXPECT_TRUE(run({L"One", L"Two"}));

    EXPECT_THAT(statuses(), ElementsAre("setServerStatus(Running flashing action)",
                                        "setServerStatus(40% of Flashsession S1 done)",
                                        "setServerStatus(80% of Flashsession S1 done)",
                                        "setServerStatus(Idle)"));
}

TEST_F(FlashingProgress, OnlyTheLastResultsErrorIsShown) {
    api->flashJob = [](Callback& callback) {
        callback.report({failure(L"retried"), progress(100, L"S1")}, 0, nullptr, true);
    };

    EXPECT_TRUE(run({L"Item"}));

    EXPECT_THAT(statuses(),
                ElementsAre("setServerStatus(Running flashing action)", "setServerStatus(Idle)"));
}

TEST_F(FlashingProgress, AnErrorThatTheProgressLoopTakesIsShownAsProgressOnly) {
    // The job's end follows its last result a moment later: the loop is between the two.
    const auto result = failure(L"no memory");
    result->progress = 30;
    result->sessionName = L"S1";
    reportAtLaunch({result});
    endJobAtFirstSleep();

    EXPECT_TRUE(run({L"Item"}));

    EXPECT_THAT(statuses(), ElementsAre("setServerStatus(Running flashing action)",
                                        "setServerStatus(30% of Flashsession S1 done)",
                                        "setServerStatus(Idle)"));
}

} // namespace Quarlen::Tests
