#include <deque>
#include <future>
#include <system_error>

#include "kel_server_lib/http/HttpServer.hpp"
#include "tests/kel_server_lib/http/AcceptErrors.hpp"
#include "tests/kel_server_lib/rest/RestFixture.hpp"
#include "tests/support/FakeClock.hpp"
#include "tests/support/TraceCapture.hpp"

namespace Quarlen::Tests {

namespace {

using std::chrono::milliseconds;
using testing::Each;
using testing::HasSubstr;
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

class RestAccept : public RestFixture {
protected:
    void startFailing(const std::vector<int>& codes) {
        RestEnvironment failing = environment();
        failing.makeServer = [this, codes] {
            return std::make_unique<Rest::HttpServer>(
                Rest::HttpServerEnvironment{.clock = pauses, .accept = FailingAccept(codes)});
        };
        rest = std::make_unique<RESTServer>(stopRequested, handler, true, failing);
        start();
    }

    FakeClock pauses;
};

TEST_F(RestAccept, TriesAgainAfterEachFailureThatPasses) {
    const std::vector<int> errors = passingAcceptErrors();
    startFailing(errors);

    EXPECT_EQ(get("/kel/v1/health").status, 200);
    rest->stop();
    EXPECT_THAT(printed(), HasSubstr("REST API stop listening in " + url + "\n"));
    EXPECT_THAT(printed(), Not(HasSubstr("failed")));
}

TEST_F(RestAccept, PausesAfterEachFailureThatPasses) {
    const std::vector<int> errors = passingAcceptErrors();
    startFailing(errors);
    ASSERT_EQ(get("/kel/v1/health").status, 200);

    EXPECT_THAT(pauses.sleeps(), SizeIs(errors.size()));
    EXPECT_THAT(pauses.sleeps(), Each(milliseconds(50)));
}

TEST_F(RestAccept, DoesNotPauseWhenNobodyHasComeSoFar) {
    startFailing({0, 0});
    ASSERT_EQ(get("/kel/v1/health").status, 200);

    EXPECT_THAT(pauses.sleeps(), testing::IsEmpty());
}

TEST_F(RestAccept, CanBeStoppedWhileEveryTryFails) {
    std::promise<void> failed;
    bool first = true;
    RestEnvironment failing = environment();
    failing.makeServer = [&] {
        return std::make_unique<Rest::HttpServer>(Rest::HttpServerEnvironment{
            .clock = clock, .accept = [&](std::intptr_t) {
                if (std::exchange(first, false)) {
                    failed.set_value();
                }
                return Platform::Accepted{
                    .error = {passingAcceptErrors().front(), std::system_category()}};
            }});
    };
    rest = std::make_unique<RESTServer>(stopRequested, handler, true, failing);
    start();
    failed.get_future().wait();

    EXPECT_TRUE(rest->stop());

    EXPECT_THAT(printed(), HasSubstr("REST API stop listening in " + url + "\n"));
}

TEST_F(RestAccept, EndsWithASocketThatDoesNotListenAnyMore) {
    for (const int code : lastAcceptErrors()) {
        output.str("");
        const TraceCapture traces;
        startFailing({code});
        rest->stop();

        EXPECT_THAT(printed(),
                    HasSubstr("REST API server failed to stop listening in " + url + "\n"));
        EXPECT_EQ(traces.lines().back().line, 294);
        EXPECT_THAT(pauses.sleeps(), testing::IsEmpty());
        EXPECT_EQ(get("/kel/v1/health").status, 0);
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

} // namespace Quarlen::Tests
