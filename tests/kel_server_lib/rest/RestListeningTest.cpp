#include <system_error>

#include "kel_server_lib/http/HttpServer.hpp"
#include "platform/ConnectionSocket.hpp"
#include "platform/OperatingSystem.hpp"
#include "tests/kel_server_lib/rest/RestFixture.hpp"
#include "tests/support/BoundAddress.hpp"
#include "tests/support/TraceCapture.hpp"

namespace Quarlen::Tests {

namespace {

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
    /// Ends the wait for a sleep that does not come.
    void giveUp() {
        auto expected = none;
        last.compare_exchange_strong(expected, std::chrono::milliseconds::zero());
        last.notify_all();
    }
    [[nodiscard]] std::chrono::milliseconds lastSleep() const { return last; }

private:
    static constexpr std::chrono::milliseconds none{-1};
    std::atomic<std::chrono::milliseconds> last{none};
};

/// Its listening socket can fail as if the system had taken it away.
class BreakableServer : public Rest::HttpServer {
public:
    void breakListening() { Platform::stopReading(static_cast<std::intptr_t>(svr_sock_.load())); }
};

/// Listening as the console and the trace tell it, and in which order.
class RestListening : public RestFixture {
protected:
    /// Starts and stops a server that runs a function when it prints a line that holds the word.
    void runWatched(const std::string& word, std::function<void()> react, std::uint16_t where) {
        LineWatch watch(word, std::move(react));
        std::ostream stream(&watch);
        Platform::Console watchedConsole(stream);
        RestEnvironment watched{
            .clock = clock, .console = watchedConsole, .port = where, .probe = probe()};
        rest = std::make_unique<RESTServer>(stopRequested, handler, true, watched);
        start();
        rest->stop();
        rest.reset(); // before what it prints to
    }

    [[nodiscard]] std::size_t tracesAtLine(const std::string& word, std::uint16_t where) {
        const TraceCapture traces;
        std::size_t count = 0;
        runWatched(
            word, [&] { count = traces.lines().size(); }, where);
        return count;
    }
};

TEST_F(RestListening, PrintsWhereItListens) {
    start();
    EXPECT_EQ(printed(), "REST API Listening in " + url + "\n");

    EXPECT_TRUE(rest->stop());

    EXPECT_EQ(printed(),
              "REST API Listening in " + url + "\nREST API stop listening in " + url + "\n");
}

TEST_F(RestListening, PrintsNothingWhenItIsNotVerbose) {
    rest = std::make_unique<RESTServer>(stopRequested, handler, false, environment());
    start();
    rest->stop();

    EXPECT_THAT(printed(), IsEmpty());
}

TEST_F(RestListening, TracesItsListeningUnderItsLineNumbers) {
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

TEST_F(RestListening, JoiningItsOwnListenerIsADeadlockError) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the sanitizer takes a thread that failed to join itself for a joined one";
#endif
    std::error_code code;
    runWatched(
        "stop listening",
        [&] {
            try {
                rest->stop();
            } catch (const std::system_error& error) {
                code = error.code();
            }
        },
        port);

    EXPECT_EQ(code, std::errc::resource_deadlock_would_occur);
}

TEST_F(RestListening, IsPrintedBeforeThePortIsBound) {
    bool refused = false;
    runWatched(
        "Listening",
        [&] {
            try {
                static_cast<void>(connect());
            } catch (const std::system_error&) {
                refused = true;
            }
        },
        port);

    EXPECT_TRUE(refused);
}

TEST_F(RestListening, IsTracedBeforeItIsPrinted) {
    const TakenPort taken;

    EXPECT_EQ(tracesAtLine("Listening", port), 1U);
    EXPECT_EQ(tracesAtLine("stop listening", port), 2U);
    EXPECT_EQ(tracesAtLine("failed to stop", taken.number()), 2U);
}

TEST_F(RestListening, LooksEvery200MillisecondsWhetherItServes) {
    CountingClock counting;
    LineWatch watch("Listening", [&] { counting.waitForSleep(); });
    std::ostream stream(&watch);
    Platform::Console watchedConsole(stream);
    RestEnvironment watched{
        .clock = counting, .console = watchedConsole, .port = port, .probe = probe()};
    rest = std::make_unique<RESTServer>(stopRequested, handler, true, watched);

    start();
    counting.giveUp();

    EXPECT_EQ(counting.lastSleep(), std::chrono::milliseconds(200));
    rest.reset(); // before what it prints to
}

TEST_F(RestListening, SaysSoWhenItsListeningFails) {
    // What breaks the socket in this test, its shutdown, leaves one of Winsock that listens alone.
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

TEST_F(TakenRestPort, IsWaitedForWhileNobodyListensOnIt) {
    BoundAddress held;
    RestEnvironment where{.clock = clock,
                          .console = console,
                          .port = held.port(),
                          .probe = {.clock = held.freedBySleep(), .listening = [] {
                                        return std::vector<Platform::SocketAddress>();
                                    }}};
    second = std::make_unique<RESTServer>(stopRequested, handler, true, where);

    EXPECT_TRUE(second->start(api));

    EXPECT_EQ(request(held.port(), "GET", "/kel/v1/health").status, 200);
    EXPECT_EQ(held.sleeps(), 1U);
    second.reset(); // before the clock that it waited with
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
