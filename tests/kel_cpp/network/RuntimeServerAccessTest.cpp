#include <chrono>
#include <filesystem>
#include <fstream>

#include <boost/asio/ip/host_name.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/kel_cpp/network/NetworkTesting.hpp"
#include "tests/kel_cpp/network/RpcTestClient.hpp"
#include "tests/kel_cpp/network/ServedRuntime.hpp"
#include "tests/support/FileAccess.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/TraceCapture.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char* watchToken = "see";
constexpr const char* controlToken = "do";
constexpr const char* tokenLines =
    "# who may what\n"
    "\n"
    "watch viewer aa9e9b5c907d50feb410f2a84e81ab72c5ae6724d57ccc53650f9361d33dc734\n"
    "control line-1 AC0B52A2AE6EF99999BC08FB31E19188BF0085A4614204068E677E140E1458BE\r\n";

/// A proxy on this machine says that it passes a request on; the request counts as from elsewhere.
const Headers forwarded{{"X-Forwarded-For", "192.0.2.7"}};

Headers withToken(const std::string& token) {
    return {{"X-Forwarded-For", "192.0.2.7"}, {"Authorization", "Bearer " + token}};
}

constexpr std::chrono::seconds aSecond{1};

template <class Function>
std::chrono::steady_clock::duration timeOf(Function function) {
    const auto begin = std::chrono::steady_clock::now();
    function();
    return std::chrono::steady_clock::now() - begin;
}

class AServerWithAGuard : public testing::Test {
protected:
    void start() { address = server.start(L"127.0.0.1:0"); }
    void startWithTokens(const std::string& lines = tokenLines) {
        served.settings.tokenFile = folder.path() / "access.token";
        writeTokens(lines);
        start();
    }
    void writeTokens(const std::string& content) const {
        std::ofstream(served.settings.tokenFile, std::ios::binary) << content;
        Quarlen::Tests::makePrivate(served.settings.tokenFile);
    }
    [[nodiscard]] unsigned statusOf(const std::string& target, const Headers& headers = {}) const {
        return request(address, http::verb::get, target, {}, headers).result_int();
    }
    [[nodiscard]] unsigned postStatus(const Headers& headers) const {
        return request(address, http::verb::post, "/rpc",
                       R"({"jsonrpc":"2.0","id":1,"method":"server.version"})", headers)
            .result_int();
    }
    [[nodiscard]] std::string ownHost() const { return Platform::toUtf8(address); }
    [[nodiscard]] std::string port() const { return ownHost().substr(ownHost().rfind(':')); }

    Quarlen::Tests::TemporaryFolder folder;
    ServedRuntime served;
    RuntimeServer server{served.sources()};
    std::wstring address;
    Quarlen::Tests::TraceCapture traces;
};

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

TEST_F(AServerWithAGuard, GivesATokenItsRole) {
    startWithTokens();
    RpcTestClient viewer(address, withToken(watchToken));
    RpcTestClient operating(address, withToken(controlToken));

    EXPECT_EQ(viewer.result("server.version"), json::value("1.2.3"));
    EXPECT_EQ(viewer.errorCode("sequence.start", {{"name", "a"}}), -32001);
    EXPECT_EQ(viewer.errorCode("sequence.cancel"), -32001);
    EXPECT_EQ(operating.result("sequence.cancel"), json::value({{"handled", true}}));
    EXPECT_EQ(statusOf("/reports/a.html", withToken(watchToken)), 200U);
    EXPECT_EQ(postStatus(withToken(watchToken)), 200U);
}

TEST_F(AServerWithAGuard, LogsAClientInThatSendsItsTokenAsACall) {
    startWithTokens();
    RpcTestClient client(address, forwarded);

    EXPECT_EQ(client.result("session.login", {{"token", controlToken}}),
              json::value({{"role", "control"}, {"name", "line-1"}}));

    EXPECT_EQ(client.result("session.role"), json::value("control"));
    EXPECT_THAT(server.clients(), ElementsAre(L"line-1 " + client.name));
}

TEST_F(AServerWithAGuard, NamesTheTokenOfAClientThatStartsASequence) {
    std::wstring byWhom;
    served.start = [&](const auto&, const auto& client) {
        byWhom = client;
        return true;
    };
    startWithTokens();
    RpcTestClient client(address, withToken(controlToken));
    client.result("sequence.start", {{"name", "a"}});

    EXPECT_EQ(byWhom, L"line-1 " + client.name);
}

TEST_F(AServerWithAGuard, RefusesAWrongToken) {
    startWithTokens();
    RpcTestClient client(address, forwarded);

    EXPECT_EQ(client.errorCode("session.login", {{"token", "guess"}}), -32001);

    EXPECT_EQ(client.result("session.role"), json::value("none"));
    EXPECT_EQ(postStatus(withToken("guess")), 401U);
    EXPECT_THAT(traces.texts(), Contains(L"client " + client.name + L" sent a wrong token"));
}

TEST_F(AServerWithAGuard, TakesNoSecondTokenBeforeItHasRefusedTheFirst) {
    startWithTokens();
    RpcTestClient client(address, forwarded);
    // One batch is carried out at once, however long the client takes.
    client.send(R"([{"jsonrpc":"2.0","id":1,"method":"session.login","params":{"token":"guess"}},)"
                R"({"jsonrpc":"2.0","id":2,"method":"session.login","params":{"token":"do"}},)"
                R"({"jsonrpc":"2.0","id":3,"method":"session.role"}])");

    const json::value answers = json::parse(client.receiveText().value());

    EXPECT_EQ(answers.at(0).at("error").at("code"), json::value(-32002));
    EXPECT_EQ(answers.at(1).at("result"), json::value("none"));
    EXPECT_EQ(answers.at(2).at("error").at("code"), json::value(-32001));
    client.result("session.login", {{"token", controlToken}});
    EXPECT_EQ(client.result("session.role"), json::value("control"));
}

TEST_F(AServerWithAGuard, TakesASecondToRefuseAWrongToken) {
    startWithTokens();
    RpcTestClient client(address, forwarded);

    EXPECT_GE(timeOf([&] { EXPECT_EQ(postStatus(withToken("guess")), 401U); }), aSecond);
    EXPECT_GE(timeOf([&] { EXPECT_EQ(RpcTestClient(address, withToken("guess")).status, 401U); }),
              aSecond);
    EXPECT_GE(timeOf([&] { client.call("session.login", {{"token", "guess"}}); }), aSecond);
}

TEST_F(AServerWithAGuard, ReadsTheTokensAgainWhenTheyHaveChanged) {
    startWithTokens("");
    EXPECT_EQ(postStatus(withToken(controlToken)), 401U);

    writeTokens(tokenLines);

    EXPECT_EQ(postStatus(withToken(controlToken)), 200U);
    std::filesystem::remove(served.settings.tokenFile);
    EXPECT_EQ(postStatus(withToken(controlToken)), 401U);
}

TEST_F(AServerWithAGuard, RefusesTokensThatOthersCanRead) {
    startWithTokens();
    Quarlen::Tests::makeReadableByAll(served.settings.tokenFile);

    EXPECT_EQ(postStatus(withToken(controlToken)), 401U);
    EXPECT_EQ(postStatus(withToken(controlToken)), 401U);

    EXPECT_THAT(traces.texts(), Contains(HasSubstr(L"access.token: others can read this file")));
    Quarlen::Tests::makePrivate(served.settings.tokenFile);
    EXPECT_EQ(postStatus(withToken(controlToken)), 200U);
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
