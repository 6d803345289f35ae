#include <future>

#include "tests/kel_server_lib/rest/RestFixture.hpp"
#include "tests/support/TraceCapture.hpp"

namespace Quarlen::Tests {

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/// From a client's request to the handler and back.
class RestDispatch : public RestFixture {
protected:
    void SetUp() override { start(); }
};

struct Route {
    const char* method;
    const char* path;
    const char* body;
    /// The call by which the handler shows; empty where it makes none.
    const char* call;
};

class EachRoute : public RestDispatch, public testing::WithParamInterface<Route> {};

TEST_P(EachRoute, ReachesItsHandler) {
    const auto& [method, path, body, call] = GetParam();

    const HttpReply reply = request(port, method, path, body);

    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.reason, "OK");
    EXPECT_EQ(reply.header("Content-Type"), "application/json");
    if (std::string(call).empty()) {
        EXPECT_THAT(api->calls(), IsEmpty());
    } else {
        EXPECT_THAT(api->calls(), Contains(call));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Routes, EachRoute,
    testing::Values(
        Route{"GET", "/kel/v1/configurations", "", "getProjectPath()"},
        Route{"GET", "/kel/v1/tracing", "", "getProjectPath()"},
        Route{"PUT", "/kel/v1/tracing", R"({"tracing":true})", "commitServerSettings()"},
        Route{"GET", "/kel/v1/projects/P1/otx", "", "selectProject(P1)"},
        Route{"PUT", "/kel/v1/stop", "", ""},
        Route{"GET", "/kel/v1/version", "", "getComponentVersions()"},
        Route{"GET", "/kel/v1/health", "", ""},
        Route{"PUT", "/kel/v1/update", "[]", "installUpdatePackages()"},
        Route{"GET", "/kel/v1/simulation", "", "getInterfaceSettings()"},
        Route{"PUT", "/kel/v1/simulation", R"({"enable":1})", "applyInterfaceSettings()"},
        Route{"PUT", "/kel/v1/scripts/F1", R"({"script":"A.xml"})",
              "setServerStatus(Running cancel sequence)"},
        Route{"PUT", "/kel/v1/sequence/abort", "", "setServerStatus(Running abort sequence)"}));

TEST_F(RestDispatch, PassesTheButtonOn) {
    EXPECT_EQ(put("/kel/v1/scripts/F1", R"({"script":"Flash.xml"})").body, R"({"status":"OK"})");

    EXPECT_EQ(handler->f1.scriptName, L"Flash.xml");
}

TEST_F(RestDispatch, PassesTheProjectNameOn) {
    get("/kel/v1/projects/P1/otx");

    EXPECT_EQ(api->count("selectProject(P1)"), 1U);
}

TEST_F(RestDispatch, DecodesThePathBeforeItIsSplit) {
    get("/kel/v1/projects/F%C3%BCr%20alle/otx");
    EXPECT_EQ(api->count("selectProject(F\xC3\xBCr alle)"), 1U);

    EXPECT_EQ(get("/kel/v1/projects/a%2Fb/otx").status, 404);
}

TEST_F(RestDispatch, TakesASegmentThatIsNoUtf8ForTheEmptyText) {
    EXPECT_EQ(get("/kel/v1/projects/%FF/otx").status, 200);

    EXPECT_EQ(api->count("getProjectDetails()"), 1U);
}

TEST_F(RestDispatch, DoesNotLookAtTheQuery) {
    EXPECT_EQ(get("/kel/v1/health?verbose=1").status, 200);
}

class UnknownPath : public RestDispatch, public testing::WithParamInterface<const char*> {};

TEST_P(UnknownPath, IsAnsweredNotFoundWithoutABody) {
    const HttpReply reply = get(GetParam());

    EXPECT_EQ(reply.status, 404);
    EXPECT_EQ(reply.reason, "Not Found");
    EXPECT_THAT(reply.body, IsEmpty());
    EXPECT_THAT(api->calls(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Paths, UnknownPath,
                         testing::Values("/kel/v1/unknown", "/kel/v1/projects",
                                         "/kel/v1/projects/P1", "/kel/v1/projects/P1/otx/more",
                                         "/kel/v1/", "/kel/v1", "/kel/v2/health", "/health", "/",
                                         "/kel/v1/health/", "/kel/v1//health", "/kel/v1/Health",
                                         "/kel/v1/stop", "/kel/v1/health%0A"));

class OtherMethod : public RestDispatch, public testing::WithParamInterface<const char*> {};

TEST_P(OtherMethod, IsNotRouted) {
    const HttpReply reply = request(port, GetParam(), "/kel/v1/version");

    EXPECT_EQ(reply.status, 404);
    EXPECT_THAT(reply.body, IsEmpty());
    EXPECT_THAT(api->calls(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Methods, OtherMethod,
                         testing::Values("POST", "DELETE", "PATCH", "OPTIONS"));

TEST_F(RestDispatch, RefusesAMethodThatItDoesNotKnow) {
    RawClient client = connect();
    client.send("TRACE /kel/v1/version HTTP/1.1\r\nHost: localhost\r\n\r\n");

    EXPECT_THAT(client.receiveReply(), HasSubstr("HTTP/1.1 400 "));
    EXPECT_THAT(api->calls(), IsEmpty());
}

TEST_F(RestDispatch, AnswersHeadLikeGetWithoutTheBody) {
    const HttpReply reply = request(port, "HEAD", "/kel/v1/health");

    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.header("Content-Length"), "15");
    EXPECT_THAT(reply.body, IsEmpty());
}

TEST_F(RestDispatch, RaisesTheStopFlagOfTheApplication) {
    EXPECT_EQ(put("/kel/v1/stop").body, R"({"status":"OK"})");
    EXPECT_TRUE(stopRequested);

    EXPECT_EQ(put("/kel/v1/stop").body, R"({"status":"OK"})");
    EXPECT_TRUE(stopRequested);
}

TEST_F(RestDispatch, AnswersTruncatedJsonWithABareBadRequest) {
    const HttpReply reply = put("/kel/v1/tracing", "{");

    EXPECT_EQ(reply.status, 400);
    EXPECT_EQ(reply.reason, "Bad Request");
    EXPECT_THAT(reply.body, IsEmpty());
    EXPECT_THAT(reply.header("Content-Type"), IsEmpty());
    EXPECT_THAT(api->calls(), IsEmpty());
}

TEST_F(RestDispatch, AnswersARuntimeFailureWithTheErrorBody) {
    api->throwIn("getServerVersion", L"Kein Ger\u00E4t", -5);

    const HttpReply reply = get("/kel/v1/version");

    EXPECT_EQ(reply.status, 500);
    EXPECT_EQ(reply.header("Content-Type"), "application/json");
    EXPECT_EQ(reply.body, "{\"errorCode\":\"-5\",\"errorMessage\":\"Kein Ger\xC3\xA4t\"}");
}

class EscapingException : public RestDispatch, public testing::WithParamInterface<const char*> {
protected:
    static std::string headerText(const HttpReply& reply) {
        std::string text;
        for (const auto& [name, value] : reply.headers) {
            text += name + ": " + value + "\n";
        }
        return text;
    }
};

TEST_P(EscapingException, IsAnsweredWithAnEmptyBody) {
    const HttpReply reply = put("/kel/v1/tracing", GetParam());

    EXPECT_EQ(reply.status, 500);
    EXPECT_EQ(reply.reason, "Internal Server Error");
    EXPECT_THAT(reply.body, IsEmpty());
    EXPECT_THAT(reply.header("Content-Type"), IsEmpty());
    EXPECT_THAT(headerText(reply), Not(HasSubstr("EXCEPTION")));
    EXPECT_THAT(headerText(reply), Not(HasSubstr("mismatch")));
    EXPECT_THAT(api->calls(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Bodies, EscapingException,
                         testing::Values("[1]", "{}", "5", R"({"tracing":1e400})"));

TEST_F(RestDispatch, AnswersAnUncaughtRuntimeFailureWithAnEmptyBody) {
    api->throwIn("getProjectPath", L"secret", 3);

    const HttpReply reply = get("/kel/v1/configurations");

    EXPECT_EQ(reply.status, 500);
    EXPECT_THAT(reply.body, IsEmpty());
}

TEST_F(RestDispatch, EndsTheConnectionAfterAnErrorAsItSays) {
    RawClient client = connect();
    client.send("GET /kel/v1/unknown HTTP/1.1\r\n\r\n");

    EXPECT_THAT(client.receiveReply(), HasSubstr("\r\nConnection: close\r\n"));
    EXPECT_TRUE(client.waitForClose());
}

TEST_F(RestDispatch, AnswersOthersWhileRebindingsWaitForACancel) {
    std::promise<void> entered;
    std::promise<void> go;
    auto open = go.get_future().share();
    api->during("setServerStatus(Running cancel sequence)",
                [&, first = std::make_shared<bool>(true)] {
                    if (std::exchange(*first, false)) {
                        entered.set_value();
                        open.wait();
                    }
                });
    const std::string body = R"({"script":"A.xml"})";
    auto first = std::async(std::launch::async, [&] { return put("/kel/v1/scripts/F1", body); });
    entered.get_future().wait();
    auto second = std::async(std::launch::async, [&] { return put("/kel/v1/scripts/F2", body); });

    EXPECT_EQ(get("/kel/v1/health").status, 200);
    EXPECT_EQ(get("/kel/v1/simulation").status, 200);
    EXPECT_EQ(second.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);

    go.set_value();
    EXPECT_EQ(first.get().status, 200);
    EXPECT_EQ(second.get().status, 200);
}

TEST_F(RestDispatch, TracesCommandAndRequest) {
    const TraceCapture traces;
    put("/kel/v1/scripts/F1", R"({"script":"A.xml"})");

    const auto lines = traces.lines();
    EXPECT_EQ(lines.front().text, L"Received Command: put : /kel/v1/scripts/F1");
    EXPECT_EQ(lines.front().line, 197);
    EXPECT_EQ(lines.front().source, L"kel_server_lib/RESTServer");
    EXPECT_EQ(lines.back().text,
              L"REST API Request: PUT /kel/v1/scripts/F1\n{\"script\":\"A.xml\"}");
    EXPECT_EQ(lines.back().line, 256);
}

TEST_F(RestDispatch, TracesTheCommandBeforeItsHandlerRunsAndTheRequestAfterwards) {
    const TraceCapture traces;
    std::vector<std::wstring> before;
    api->during("getServerVersion", [&] { before = traces.texts(); });
    get("/kel/v1/version");

    EXPECT_THAT(before, testing::ElementsAre(L"Received Command: get : /kel/v1/version"));
    EXPECT_THAT(traces.texts(),
                testing::ElementsAre(before.at(0), L"REST API Request: GET /kel/v1/version\n"));
}

TEST_F(RestDispatch, TracesAHeadUnderTheMethodWordOfItsRoute) {
    const TraceCapture traces;
    request(port, "HEAD", "/kel/v1/health?a=1");

    EXPECT_THAT(traces.texts(), testing::ElementsAre(L"Received Command: get : /kel/v1/health",
                                                     L"REST API Request: HEAD /kel/v1/health\n"));
}

TEST_F(RestDispatch, TracesTheWholeBodyUpToItsLimit) {
    const TraceCapture traces;
    const std::string body = std::string(1024 * 1024 - 1, 'x') + "y";
    put("/kel/v1/tracing", body);

    EXPECT_EQ(traces.lines().back().text,
              L"REST API Request: PUT /kel/v1/tracing\n" + std::wstring(body.begin(), body.end()));
}

TEST_F(RestDispatch, TracesControlCharactersWithoutObeyingThem) {
    const TraceCapture traces;
    put("/kel/v1/sequence%1B%00/abort", std::string("{\n\"a\0b\"}", 8));

    EXPECT_EQ(traces.lines().front().text,
              L"Received Command: put : /kel/v1/sequence\\x1b\\x00/abort");
    EXPECT_EQ(traces.lines().back().text,
              L"REST API Request: PUT /kel/v1/sequence\\x1b\\x00/abort\n{\\n\"a\\x00b\"}");
    EXPECT_EQ(traces.lines().back().source, L"kel_server_lib/RESTServer");
    EXPECT_EQ(traces.lines().back().level, StdUtil::TraceLevel::Info);
}

TEST_F(RestDispatch, TracesTheRequestButNoCommandOutsideItsPrefix) {
    const TraceCapture traces;
    get("/elsewhere");

    ASSERT_EQ(traces.lines().size(), 1U);
    EXPECT_EQ(traces.lines().front().text, L"REST API Request: GET /elsewhere\n");
}

TEST_F(RestDispatch, TracesOnlyFromDebugLevelThreeOn) {
    const TraceCapture traces;
    StdUtil::ErrorHandler::setDebugTraceLevel(2);
    get("/kel/v1/health");
    StdUtil::ErrorHandler::setDebugTraceLevel(3);

    EXPECT_THAT(traces.lines(), IsEmpty());
}

} // namespace

} // namespace Quarlen::Tests
