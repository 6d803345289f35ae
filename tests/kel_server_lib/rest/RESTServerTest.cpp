#include "kel_server_lib/RESTServer.hpp"

#include <system_error>

#include "kel_server_lib/rest/FacadeReference.hpp"
#include "kel_server_lib/rest/HttpServer.hpp"
#include "kel_server_lib/rest/HttplibInternals.hpp"
#include "platform/OperatingSystem.hpp"
#include "tests/kel_server_lib/rest/RestFixture.hpp"
#include "tests/support/TraceCapture.hpp"

namespace Quarlen::Tests {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/// Runs a function when the server prints a line that holds a word, on the thread that prints it.
class LineWatch : public std::stringbuf {
public:
    LineWatch(std::string word, std::function<void()> react)
        : word(std::move(word)), react(std::move(react)) {}

protected:
    int sync() override {
        if (str().find(word) != std::string::npos && !std::exchange(reacted, true)) {
            react();
        }
        return 0;
    }

private:
    std::string word;
    std::function<void()> react;
    bool reacted = false;
};

/// Real sleeps, cut short, that can be waited for.
class CountingClock : public ImpatientClock {
public:
    void sleepFor(std::chrono::milliseconds duration) override {
        last = duration;
        last.notify_all();
        ImpatientClock::sleepFor(duration);
    }
    void waitForSleep() const { last.wait(none); }
    [[nodiscard]] std::chrono::milliseconds lastSleep() const { return last; }

private:
    static constexpr std::chrono::milliseconds none{-1};
    std::atomic<std::chrono::milliseconds> last{none};
};

/// Its listening socket can fail as if the system had taken it away.
class BreakableServer : public Rest::HttpServer {
public:
    void breakListening() { httplib::detail::shutdown_socket(svr_sock_); }
};

using RESTServerTest = RestFixture;

TEST_F(RESTServerTest, ListensOnPort8011UnlessToldOtherwise) {
    EXPECT_EQ(RestEnvironment().port, 8011);
}

TEST_F(RESTServerTest, ServesOnceStartReturns) {
    start();

    EXPECT_EQ(get("/kel/v1/health").status, 200);
}

TEST_F(RESTServerTest, PrintsWhereItListens) {
    start();
    EXPECT_EQ(printed(), "REST API Listening in " + url + "\n");

    EXPECT_TRUE(rest->stop());

    EXPECT_EQ(printed(),
              "REST API Listening in " + url + "\nREST API stop listening in " + url + "\n");
}

TEST_F(RESTServerTest, PrintsNothingWhenItIsNotVerbose) {
    rest = std::make_unique<RESTServer>(stopRequested, handler, false, environment());
    start();
    rest->stop();

    EXPECT_THAT(printed(), IsEmpty());
}

TEST_F(RESTServerTest, TracesItsListeningUnderItsLineNumbers) {
    const TraceCapture traces;
    start();
    rest->stop();

    const auto lines = traces.lines();
    const std::wstring where = L"http://localhost:" + std::to_wstring(port) + L"\n";
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].text, L"REST server listening on " + where);
    EXPECT_EQ(lines[0].line, 281);
    EXPECT_EQ(lines[1].text, L"REST server stop listening on " + where);
    EXPECT_EQ(lines[1].line, 288);
    EXPECT_EQ(lines[1].source, L"kel_server_lib/RESTServer");
}

TEST_F(RESTServerTest, StopOfANeverStartedServerReturnsFalseAndPrintsNothing) {
    EXPECT_FALSE(rest->stop());

    EXPECT_THAT(printed(), IsEmpty());
}

TEST_F(RESTServerTest, SecondStartReturnsFalseAndPrintsNothing) {
    start();
    const std::string before = printed();

    EXPECT_FALSE(rest->start(api));

    EXPECT_EQ(printed(), before);
    EXPECT_EQ(get("/kel/v1/health").status, 200);
}

TEST_F(RESTServerTest, DoesNotStartAgainOnceItIsStopped) {
    start();
    EXPECT_TRUE(rest->stop());

    EXPECT_FALSE(rest->start(api));
    EXPECT_EQ(get("/kel/v1/health").status, 0);
}

TEST_F(RESTServerTest, SecondStopReturnsTrue) {
    start();
    EXPECT_TRUE(rest->stop());
    EXPECT_TRUE(rest->stop());
}

TEST_F(RESTServerTest, SaysSoWhenTheHttpServerCannotBeMade) {
    RestEnvironment without = environment();
    without.makeServer = [] { return nullptr; };
    rest = std::make_unique<RESTServer>(stopRequested, handler, false, without);

    EXPECT_FALSE(rest->start(api));

    EXPECT_EQ(printed(), "Invalid REST API server\n");
    EXPECT_EQ(Rest::facade(), nullptr);
    EXPECT_FALSE(rest->stop());
}

TEST_F(RESTServerTest, JoiningItsOwnListenerIsADeadlockError) {
    std::error_code code;
    LineWatch watch("stop listening", [&] {
        try {
            rest->stop();
        } catch (const std::system_error& error) {
            code = error.code();
        }
    });
    std::ostream stream(&watch);
    Platform::Console watchedConsole(stream);
    RestEnvironment watched{.clock = clock, .console = watchedConsole, .port = port};
    rest = std::make_unique<RESTServer>(stopRequested, handler, true, watched);
    start();

    rest->stop();

    EXPECT_EQ(code, std::errc::resource_deadlock_would_occur);
}

TEST_F(RESTServerTest, KeepsTheFacadeUntilItGoes) {
    const long before = api.use_count();
    start();
    EXPECT_EQ(Rest::facade(), api);
    rest->stop();
    EXPECT_EQ(Rest::facade(), api);

    rest.reset();

    EXPECT_EQ(Rest::facade(), nullptr);
    EXPECT_EQ(api.use_count(), before);
}

TEST_F(RESTServerTest, LeavesAnotherServersFacadeAloneWhenItWasNeverStarted) {
    auto other = std::make_unique<RESTServer>(stopRequested, handler, true, environment());
    start();

    other.reset();

    EXPECT_EQ(Rest::facade(), api);
}

TEST_F(RESTServerTest, LeavesTheFacadeOfALaterServerAlone) {
    start();
    RestEnvironment elsewhere = environment();
    elsewhere.port = freePort();
    RESTServer later(stopRequested, handler, true, elsewhere);
    ASSERT_TRUE(later.start(api));

    rest.reset();

    EXPECT_EQ(Rest::facade(), api);
}

TEST_F(RESTServerTest, LooksEvery200MillisecondsWhetherItServes) {
    CountingClock counting;
    LineWatch watch("Listening", [&] { counting.waitForSleep(); });
    std::ostream stream(&watch);
    Platform::Console watchedConsole(stream);
    RestEnvironment watched{.clock = counting, .console = watchedConsole, .port = port};
    rest = std::make_unique<RESTServer>(stopRequested, handler, true, watched);

    start();

    EXPECT_EQ(counting.lastSleep(), std::chrono::milliseconds(200));
    rest.reset(); // before what it prints to
}

TEST_F(RESTServerTest, SaysSoWhenItsListeningFails) {
    if (Platform::operatingSystem().kind == Platform::OperatingSystemKind::Windows) {
        GTEST_SKIP() << "a listening socket of this system does not fail unless it is closed";
    }
    BreakableServer* breakable = nullptr;
    RestEnvironment broken = environment();
    broken.makeServer = [&] {
        auto server = std::make_unique<BreakableServer>();
        breakable = server.get();
        return server;
    };
    rest = std::make_unique<RESTServer>(stopRequested, handler, true, broken);
    start();
    RawClient idle = connect();
    idle.send("GET /kel/v1/health HTTP/1.1\r\n\r\n");
    ASSERT_THAT(idle.receiveReply(), HasSubstr("200 OK"));

    breakable->breakListening();

    EXPECT_TRUE(idle.waitForClose());
    EXPECT_TRUE(rest->stop());
    EXPECT_THAT(printed(), HasSubstr("REST API server failed to stop listening in " + url + "\n"));
}

TEST_F(RESTServerTest, EndsWithItsObjectWithoutAStop) {
    start();

    rest.reset();

    EXPECT_EQ(get("/kel/v1/health").status, 0);
}

class TakenRestPort : public RestFixture {
protected:
    void startOnTakenPort(std::uint16_t taken) {
        takenUrl = "http://localhost:" + std::to_string(taken);
        RestEnvironment where = environment();
        where.port = taken;
        second = std::make_unique<RESTServer>(stopRequested, handler, true, where);
        EXPECT_TRUE(second->start(api));
    }

    std::string takenUrl;
    std::unique_ptr<RESTServer> second;
};

TEST_F(TakenRestPort, IsReportedAndDoesNotStopTheProgram) {
    const TakenPort taken;
    const TraceCapture traces;

    startOnTakenPort(taken.number());

    EXPECT_EQ(printed(), "REST API Listening in " + takenUrl +
                             "\nREST API server failed to stop listening in " + takenUrl + "\n");
    const auto line = traces.lines().back();
    EXPECT_EQ(line.text, L"REST API server failed to stop listening in http://localhost:" +
                             std::to_wstring(taken.number()) + L"\n");
    EXPECT_EQ(line.line, 294);
    EXPECT_TRUE(second->stop());
}

TEST_F(TakenRestPort, IsNotSharedWithASecondInstance) {
    start();

    startOnTakenPort(port);

    EXPECT_THAT(printed(), HasSubstr("failed to stop listening in " + takenUrl + "\n"));
    EXPECT_EQ(get("/kel/v1/health").status, 200);
}

TEST_F(TakenRestPort, CanBeTakenAgainWhileOldConnectionsLinger) {
    start();
    RawClient lingering = connect();
    lingering.send("GET /kel/v1/health HTTP/1.1\r\n\r\n");
    ASSERT_THAT(lingering.receiveReply(), HasSubstr("200 OK"));
    rest->stop(); // the server ends the connection first, so that its side stays in TIME_WAIT
    ASSERT_TRUE(lingering.waitForClose());

    startOnTakenPort(port);

    EXPECT_THAT(printed(), Not(HasSubstr("failed to stop")));
    EXPECT_EQ(get("/kel/v1/health").status, 200);
}

} // namespace

} // namespace Quarlen::Tests
