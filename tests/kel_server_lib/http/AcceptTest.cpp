#include <deque>
#include <future>
#include <system_error>

#include "tests/kel_server_lib/http/AcceptErrors.hpp"
#include "tests/kel_server_lib/http/HttpFixture.hpp"
#include "tests/support/FakeClock.hpp"
#include "tests/support/ImpatientClock.hpp"

namespace Quarlen::Rest::Tests {

namespace {

using std::chrono::milliseconds;
using testing::Each;
using testing::SizeIs;

/// The system, but the first waits for a client fail as they are told to.
class FailingAccept {
public:
    explicit FailingAccept(const std::vector<int>& codes) : codes(codes.begin(), codes.end()) {}

    Platform::Accepted operator()(std::intptr_t listening) {
        if (codes.empty()) {
            return Platform::acceptConnection(listening);
        }
        const int code = codes.front();
        codes.pop_front();
        return {.error = {code, std::system_category()}};
    }

private:
    std::deque<int> codes;
};

class Accept : public HttpFixture {
protected:
    void startFailing(const std::vector<int>& codes) {
        server = std::make_unique<HttpServer>(
            HttpServerEnvironment{.clock = pauses, .accept = FailingAccept(codes)});
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
    server = std::make_unique<HttpServer>(
        HttpServerEnvironment{.clock = clock, .accept = [&](std::intptr_t) {
                                  if (std::exchange(first, false)) {
                                      failed.set_value();
                                  }
                                  return Platform::Accepted{.error = {passingAcceptErrors().front(),
                                                                      std::system_category()}};
                              }});
    start();
    failed.get_future().wait();

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

TEST(AcceptedConnection, IsNoneOfASocketThatIsNone) {
    const Platform::Accepted accepted = Platform::acceptConnection(Platform::noSocket);

    EXPECT_EQ(accepted.connection, Platform::noSocket);
    EXPECT_TRUE(Platform::endsListening(accepted.error)) << accepted.error;
}

TEST(AcceptedConnection, FailureThatIsNoneEndsNothing) {
    EXPECT_FALSE(Platform::endsListening({}));
}

} // namespace

} // namespace Quarlen::Rest::Tests
