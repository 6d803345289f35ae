#include <boost/asio/ip/host_name.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/kel_cpp/network/GuardTesting.hpp"
#include "tests/kel_cpp/network/NetworkTesting.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

using testing::HasSubstr;

TEST_F(AServerWithAGuard, LetsClientsOnItsOwnMachineDoAll) {
    start();
    RpcTestClient client(address);

    EXPECT_EQ(client.result("session.role"), json::value("control"));
    EXPECT_EQ(postStatus({}), 200U);
    EXPECT_EQ(statusOf("/"), 200U);
}

TEST_F(AServerWithAGuard, LetsNobodyElseInWithoutTokens) {
    start();

    EXPECT_EQ(statusOf("/", forwarded), 403U);
    EXPECT_EQ(statusOf("/reports/a.html", forwarded), 403U);
    EXPECT_EQ(postStatus(forwarded), 403U);
    EXPECT_EQ(postStatus({{"Forwarded", "for=192.0.2.7"}}), 403U);
    EXPECT_EQ(RpcTestClient(address, forwarded).status, 403U);
}

TEST_F(AServerWithAGuard, ShowsThePageAndNothingElseToWhoHasNoToken) {
    startWithTokens();

    EXPECT_EQ(statusOf("/", forwarded), 200U);
    EXPECT_EQ(statusOf("/reports/a.html", forwarded), 401U);
    EXPECT_EQ(postStatus(forwarded), 401U);
    RpcTestClient client(address, forwarded);
    EXPECT_EQ(client.errorCode("server.version"), -32001);
    EXPECT_EQ(client.errorCode("status.subscribe"), -32001);
    EXPECT_EQ(client.errorCode("sequence.start", {{"name", "a"}}), -32001);
    EXPECT_EQ(client.result("session.role"), json::value("none"));
}

TEST_F(AServerWithAGuard, TakesNothingLongFromWhoHasNoToken) {
    startWithTokens();
    const std::string longText(1025, ' ');

    EXPECT_EQ(request(address, http::verb::post, "/rpc", longText, forwarded).result_int(), 413U);
    EXPECT_EQ(
        request(address, http::verb::post, "/rpc", longText, withToken(watchToken)).result_int(),
        200U);
    RpcTestClient client(address, forwarded);
    client.send(longText.substr(1));
    EXPECT_TRUE(client.receive());
    client.send(longText);
    EXPECT_FALSE(client.receive());
    EXPECT_EQ(client.reason().code, websocket::close_code::too_big);
    RpcTestClient known(address, forwarded);
    known.result("session.login", {{"token", watchToken}});
    known.send(longText);
    EXPECT_TRUE(known.receive());
}

TEST_F(AServerWithAGuard, RefusesAStrangerBeforeItHasSentItsBody) {
    start();
    TestClient client(address);

    client.send("POST /rpc HTTP/1.1\r\nHost: evil\r\nContent-Length: 100\r\n\r\n");

    EXPECT_EQ(client.readUntil("\r\n").find("HTTP/1.1 403 "), 0U);
}

TEST_F(AServerWithAGuard, RefusesPagesOfSomebodyElse) {
    start();

    EXPECT_EQ(postStatus({{"Origin", "http://evil.example"}}), 403U);
    EXPECT_EQ(postStatus({{"Origin", "null"}}), 403U);
    EXPECT_EQ(RpcTestClient(address, {{"Origin", "http://evil.example"}}).status, 403U);
    EXPECT_EQ(postStatus({{"Origin", "http://" + ownHost()}}), 200U);
}

TEST_F(AServerWithAGuard, RefusesAHostThatIsNotItsOwn) {
    start();

    EXPECT_EQ(postStatus({{"Host", "evil.example" + port()}}), 403U);
    EXPECT_EQ(postStatus({{"Host", "127.0.0.1:1"}}), 403U);
    EXPECT_EQ(postStatus({{"Host", "127.0.0.1"}}), 403U);
    EXPECT_EQ(postStatus({{"Host", ""}}), 403U);
    EXPECT_EQ(postStatus({{"Host", "LOCALHOST" + port()}}), 200U);
    EXPECT_EQ(postStatus({{"Host", boost::asio::ip::host_name() + port()}}), 200U);
}

TEST_F(AServerWithAGuard, ServesThePageUnderAPolicyThatForbidsForeignScripts) {
    start();

    const HttpResponse page = request(address, http::verb::get, "/");

    EXPECT_EQ(page["Content-Type"], "text/html; charset=utf-8");
    EXPECT_EQ(page["X-Content-Type-Options"], "nosniff");
    EXPECT_EQ(page["Referrer-Policy"], "no-referrer");
    EXPECT_EQ(page["Cache-Control"], "no-store");
    const std::string policy(page["Content-Security-Policy"]);
    EXPECT_THAT(policy, testing::StartsWith("default-src 'none'; script-src 'sha256-"));
    EXPECT_THAT(policy, HasSubstr("frame-ancestors 'none'"));
    EXPECT_THAT(policy, testing::Not(HasSubstr("unsafe")));
    EXPECT_THAT(page.body(), HasSubstr("<script>"));
}

TEST_F(AServerWithAGuard, AnswersHeadWithoutABody) {
    start();
    const HttpResponse page = request(address, http::verb::get, "/");

    const HttpResponse head = request(address, http::verb::head, "/");

    EXPECT_EQ(head.result_int(), 200U);
    EXPECT_EQ(head.body(), "");
    EXPECT_EQ(head["Content-Length"], std::to_string(page.body().size()));
}

TEST_F(AServerWithAGuard, ServesAReportByItsNameWithoutScripts) {
    std::wstring asked;
    served.report = [&](const std::wstring& name) {
        asked = name;
        return std::string("<p>all well</p>");
    };
    start();

    const HttpResponse report = request(address, http::verb::get, "/reports/a%20%C3%A4.html?x=1");

    EXPECT_EQ(report.result_int(), 200U);
    EXPECT_EQ(report.body(), "<p>all well</p>");
    EXPECT_EQ(asked, L"a \u00E4.html");
    const std::string policy(report["Content-Security-Policy"]);
    EXPECT_THAT(policy, HasSubstr("default-src 'none'"));
    EXPECT_THAT(policy, HasSubstr("sandbox"));
    EXPECT_THAT(policy, testing::Not(HasSubstr("script-src")));
}

TEST_F(AServerWithAGuard, SaysWhichPathsAndMethodsItDoesNotHave) {
    served.report = [](const std::wstring& name) -> std::string {
        throw KelApiException(L"there is no report " + name, 80);
    };
    start();

    EXPECT_EQ(statusOf("/reports/none.html"), 404U);
    EXPECT_EQ(statusOf("/etc/passwd"), 404U);
    EXPECT_EQ(statusOf("/../etc/passwd"), 404U);
    EXPECT_EQ(statusOf("/rpc"), 405U);
    EXPECT_EQ(request(address, http::verb::post, "/").result_int(), 405U);
    EXPECT_EQ(request(address, http::verb::delete_, "/reports/a.html").result_int(), 405U);
}

TEST_F(AServerWithAGuard, KeepsAConnectionForSeveralRequests) {
    start();
    TestClient client(address);
    const std::string once = "GET / HTTP/1.1\r\nHost: " + ownHost() + "\r\n\r\n";

    client.send(once + once + "GET /none HTTP/1.1\r\nHost: " + ownHost() + "\r\n\r\n");

    const std::string answers = client.readAll();
    EXPECT_EQ(answers.find("HTTP/1.1 200 OK"), 0U);
    EXPECT_NE(answers.find("HTTP/1.1 200 OK", 1), std::string::npos);
    EXPECT_NE(answers.find("HTTP/1.1 404 Not Found"), std::string::npos);
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
