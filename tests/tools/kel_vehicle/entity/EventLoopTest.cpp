#include "tools/kel_vehicle/entity/EventLoop.hpp"

#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tests/support/FakeClock.hpp"

namespace Quarlen::KelVehicle::Tests {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

class EventLoopTest : public testing::Test {
protected:
    EventLoopTest() { loop.start(); }
    ~EventLoopTest() override { loop.stop(); }
    Schedule::Work note(const char* what) {
        return [this, what] { done.emplace_back(what); };
    }

    Quarlen::Tests::FakeClock clock;
    std::vector<std::string> done;
    std::vector<std::wstring> failures;
    EventLoop loop{clock, [this](const std::wstring& cause) { failures.push_back(cause); }};
};

TEST_F(EventLoopTest, SendsBeforeItLooksAtWhatHasTheSameTime) {
    loop.call([this] {
        loop.watchAt(clock.now() + 1s, note("limit"));
        loop.sendAt(clock.now() + 1s, note("first"));
        loop.sendAt(clock.now() + 1s, note("second"));
        clock.advance(1s);
        loop.runDue();
    });
    EXPECT_THAT(done, ElementsAre("first", "second", "limit"));
}

TEST_F(EventLoopTest, DoesNothingBeforeItsTimeAndNothingThatIsCancelled) {
    loop.call([this] {
        loop.sendAt(clock.now() + 1s, note("early"));
        const auto send = loop.sendAt(clock.now(), note("send"));
        const auto watch = loop.watchAt(clock.now(), note("watch"));
        loop.cancelSend(send);
        loop.cancelWatch(watch);
        clock.advance(999ms);
        loop.runDue();
        EXPECT_EQ(loop.nextSend(), clock.now() + 1ms);
    });
    EXPECT_THAT(done, ElementsAre());
}

TEST_F(EventLoopTest, DoesWhatIsDueByItself) {
    // Shared, because the loop is still in it when the test goes on already.
    const auto sent = std::make_shared<std::promise<void>>();
    auto outcome = sent->get_future();
    loop.call([&] { loop.sendAt(clock.now(), [sent] { sent->set_value(); }); });
    outcome.get();
}

TEST(EventLoop, WakesForWhatComesFirst) {
    EventLoop loop(Platform::systemClock(), [](const std::wstring& /*cause*/) {});
    loop.start();
    const auto sent = std::make_shared<std::promise<void>>();
    auto outcome = sent->get_future();
    loop.call([&] {
        loop.watchAt(loop.clock().now() + 24h, [] {});
        loop.sendAt(loop.clock().now() + 1ms, [sent] { sent->set_value(); });
    });
    outcome.get();
    loop.stop();
}

TEST_F(EventLoopTest, GoesOnWithWhatIsDueBehindAFailure) {
    loop.call([this] {
        loop.sendAt(clock.now(), [] { throw std::runtime_error("no memory"); });
        loop.sendAt(clock.now(), note("next"));
        loop.runDue();
    });
    EXPECT_THAT(done, ElementsAre("next"));
    EXPECT_THAT(failures, ElementsAre(L"no memory"));
}

TEST_F(EventLoopTest, GoesOnBehindAHandlerThatFails) {
    boost::asio::post(loop.context(), [] { throw std::runtime_error("no memory"); });
    loop.call(note("next"));
    EXPECT_THAT(done, ElementsAre("next"));
    EXPECT_THAT(failures, ElementsAre(L"no memory"));
}

} // namespace
} // namespace Quarlen::KelVehicle::Tests
