#include <chrono>
#include <thread>

#include <gtest/gtest.h>

#include "kel_cpp/jobs/FlashJob.hpp"
#include "tests/kel_cpp/AgreeingControlUnit.hpp"
#include "tests/kel_cpp/FakeVehicle.hpp"
#include "tests/support/ReportCollector.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

/// Long enough for a job that does not wait to have begun.
constexpr std::chrono::milliseconds aWhile{20};

/// A flash job of two sessions while somebody else has the turn.
class FlashTurn : public testing::Test {
protected:
    FlashTurn() {
        folder.write("app.bin", "12345678");
        folder.write("data.bin", "1234");
        vehicle->answer = agreeTo;
        project->vehicleInformations = {{L"V", {{1, L"UNIT", L"LINK"}}, {}}};
        project->flashItems = {
            {L"ITEM",
             L"UNIT",
             L"",
             1,
             0,
             {{L"APP", L"app.bin", 0, {}, {}, true}, {L"DATA", L"data.bin", 64, {}, {}, true}}}};
    }

    void flash(Quarlen::Tests::FlashCollector& collector, const std::stop_token& cancel) {
        const FlashJob job({project, &project->vehicleInformations.front(), access}, L"ITEM",
                           {L"APP", L"DATA"}, folder.path(), {clock});
        JobReport<FlashResult> report(collector, 1);
        job.run(report, cancel);
    }
    std::shared_ptr<FlashResult> cancelledAfter(std::chrono::milliseconds wait) {
        Quarlen::Tests::FlashCollector collector;
        std::stop_source cancel;
        const std::jthread job([&] { flash(collector, cancel.get_token()); });
        EXPECT_FALSE(collector.waitForLast(wait));
        cancel.request_stop();
        EXPECT_TRUE(collector.waitForLast());
        return collector.results().back();
    }

    Quarlen::Tests::FakeClock clock;
    Quarlen::Tests::TemporaryFolder folder;
    std::shared_ptr<FakeVehicle> vehicle = std::make_shared<FakeVehicle>(clock);
    std::shared_ptr<VehicleAccess> access = std::make_shared<VehicleAccess>(
        L"Test", vehicle, clock, AccessOptions{.testerPresentInterval = std::chrono::hours(1)});
    std::shared_ptr<Project> project = std::make_shared<Project>();
    VehicleAccess::Turn turn = access->takeTurn({});
};

} // namespace

TEST_F(FlashTurn, IsWaitedForWithoutARequestOrAReport) {
    Quarlen::Tests::FlashCollector reports;
    const std::jthread job([&] { flash(reports, {}); });
    EXPECT_FALSE(reports.waitForLast(aWhile));
    EXPECT_EQ(reports.reportCount(), 0U);
    EXPECT_TRUE(vehicle->requests().empty());

    turn.reset();

    ASSERT_TRUE(reports.waitForLast());
    EXPECT_EQ(reports.results().back()->jobError, nullptr);
    EXPECT_EQ(reports.results().back()->progress, 100);
    EXPECT_FALSE(vehicle->requests().empty());
}

TEST_F(FlashTurn, ThatIsCancelledBeforeItHasComeIsNoSessionsFault) {
    std::shared_ptr<FlashResult> result;
    // Until it waits for its turn, however long it reads its files before.
    for (auto wait = aWhile; !result || !result->sessionName.empty(); wait *= 2) {
        ASSERT_LT(wait, std::chrono::minutes(1));
        result = cancelledAfter(wait);
    }
    ASSERT_NE(result->jobError, nullptr);
    EXPECT_EQ(result->jobError->message, L"flash item \"ITEM\": cancelled");
    EXPECT_EQ(result->sessionName, L"");
    EXPECT_TRUE(vehicle->requests().empty());
}

} // namespace Quarlen::Kel_cpp::Tests
