#include "kel_server_lib/rest/RESTServer.hpp"

#include "kel_server_lib/http/HttpServer.hpp"
#include "kel_server_lib/rest/handlers/FacadeReference.hpp"
#include "tests/kel_server_lib/rest/RestFixture.hpp"

namespace Quarlen::Tests {

namespace {

using testing::IsEmpty;

using RESTServerTest = RestFixture;

TEST_F(RESTServerTest, ListensOnPort8011UnlessToldOtherwise) {
    EXPECT_EQ(RestEnvironment().port, 8011);
}

TEST_F(RESTServerTest, ServesOnceStartReturns) {
    start();

    EXPECT_EQ(get("/kel/v1/health").status, 200);
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

TEST_F(RESTServerTest, ReplacesTheFacadeOfAnEarlierServer) {
    start();
    const auto newer = std::make_shared<RecordingKelApi>();
    RestEnvironment elsewhere = environment();
    elsewhere.port = freePort();
    RESTServer later(stopRequested, handler, true, elsewhere);
    ASSERT_TRUE(later.start(newer));

    EXPECT_EQ(Rest::facade(), newer);
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

TEST_F(RESTServerTest, EndsWithItsObjectWithoutAStop) {
    start();

    rest.reset();

    EXPECT_EQ(get("/kel/v1/health").status, 0);
}

TEST_F(RESTServerTest, SurvivesAHundredThousandNestedObjects) {
    start();
    std::string body;
    for (int depth = 0; depth < 100'000; ++depth) {
        body += "{\"a\":";
    }

    EXPECT_EQ(put("/kel/v1/tracing", body).status, 400);
    EXPECT_EQ(get("/kel/v1/health").status, 200);
}

TEST_F(RESTServerTest, AnswersARequestForARangeWithTheWholeReply) {
    start();
    RawClient client = connect();
    client.send("GET /kel/v1/health HTTP/1.1\r\nRange: bytes=0-3\r\n\r\n");
    const std::string reply = client.receiveReply();

    EXPECT_THAT(reply, testing::StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(reply, testing::EndsWith("{\"status\":\"OK\"}"));
}

TEST_F(RESTServerTest, LetsAClientGoOnToAnUnknownRoute) {
    start();
    RawClient client = connect();
    client.send(
        "PUT /kel/v1/unknown HTTP/1.1\r\nContent-Length: 2\r\nExpect: 100-continue\r\n\r\n");
    ASSERT_EQ(client.receiveReply(), "HTTP/1.1 100 Continue\r\n\r\n");
    client.send("{}");

    EXPECT_THAT(client.receiveReply(), testing::StartsWith("HTTP/1.1 404 "));
}

} // namespace

} // namespace Quarlen::Tests
