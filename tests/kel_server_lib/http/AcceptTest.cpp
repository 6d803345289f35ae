#include <future>
#include <system_error>

#include "tests/kel_server_lib/http/HttpFixture.hpp"
#include "tests/support/AcceptErrors.hpp"
#include "tests/support/FailingAccept.hpp"
#include "tests/support/FakeClock.hpp"
#include "tests/support/ImpatientClock.hpp"

namespace Quarlen::Rest::Tests {

namespace {

using Quarlen::Tests::FailingAccept;
using Quarlen::Tests::lastAcceptErrors;
using Quarlen::Tests::passingAcceptErrors;
using std::chrono::milliseconds;
using testing::Each;
using testing::SizeIs;

class Accept : public HttpFixture {
protected:
    void startFailing(const std::vector<int>& codes) {
        server = std::make_unique<HttpServer>(
            HttpServerEnvironment{.clients = {.clock = pauses, .accept = FailingAccept(codes)}});
        start();
    }

    Quarlen::Tests::FakeClock pauses;
};

TEST_F(Accept, TriesAgainAfterEachFailureThatPasses) {
    startFailing(passingAcceptErrors());

    EXPECT_EQ(get().status, 200);
    EXPECT_TRUE(stop());
}

TEST_F(Accept, PausesAfterEachFailureThatPasses) {
    const std::vector<int> errors = passingAcceptErrors();
    startFailing(errors);
    ASSERT_EQ(get().status, 200);

    EXPECT_THAT(pauses.sleeps(), SizeIs(errors.size()));
    EXPECT_THAT(pauses.sleeps(), Each(milliseconds(50)));
}

TEST_F(Accept, DoesNotPauseWhenNobodyHasComeSoFar) {
    startFailing({0, 0});
    ASSERT_EQ(get().status, 200);

    EXPECT_THAT(pauses.sleeps(), testing::IsEmpty());
}

TEST_F(Accept, CanBeStoppedWhileEveryTryFails) {
    std::promise<void> failed;
    bool first = true;
    Quarlen::Tests::ImpatientClock clock;
    const auto fail = [&](std::intptr_t) {
        if (std::exchange(first, false)) {
            failed.set_value();
        }
        return Platform::Accepted{.error = {passingAcceptErrors().front(), std::system_category()}};
    };
    server = std::make_unique<HttpServer>(
        HttpServerEnvironment{.clients = {.clock = clock, .accept = fail}});
    start();

    EXPECT_EQ(failed.get_future().wait_for(RawClient::patience), std::future_status::ready);
    EXPECT_TRUE(stop());
}

TEST_F(Accept, EndsWithASocketThatDoesNotListenAnyMore) {
    for (const int code : lastAcceptErrors()) {
        startFailing({code});

        EXPECT_FALSE(waitForEnd());
        EXPECT_THAT(pauses.sleeps(), testing::IsEmpty());
        EXPECT_EQ(get().status, 0);
    }
}

} // namespace

} // namespace Quarlen::Rest::Tests
