#include <chrono>
#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/kel_cpp/network/GuardTesting.hpp"
#include "tests/kel_cpp/network/NetworkTesting.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr std::chrono::seconds aSecond{1};

template <class Function>
std::chrono::steady_clock::duration timeOf(Function function) {
    const auto begin = std::chrono::steady_clock::now();
    function();
    return std::chrono::steady_clock::now() - begin;
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

TEST_F(AServerWithAGuard, EndsTheConnectionsOfATokenThatIsTakenOutOfTheFile) {
    served.settings.tokenCheckInterval = std::chrono::milliseconds(10);
    startWithTokens();
    RpcTestClient local(address);
    RpcTestClient viewer(address, withToken(watchToken));
    RpcTestClient operating(address, forwarded);
    operating.result("session.login", {{"token", controlToken}});

    writeTokens(std::string(tokenLines).substr(0, std::string(tokenLines).find("control")));

    EXPECT_FALSE(operating.receive());
    EXPECT_EQ(operating.reason().code, websocket::close_code::policy_error);
    EXPECT_EQ(viewer.result("session.role"), json::value("watch"));
    EXPECT_EQ(local.result("session.role"), json::value("control"));
    std::filesystem::remove(served.settings.tokenFile);
    EXPECT_FALSE(viewer.receive());
    EXPECT_EQ(local.result("session.role"), json::value("control"));
}

TEST_F(AServerWithAGuard, EndsTheConnectionsOfATokenThatMayDoLess) {
    served.settings.tokenCheckInterval = std::chrono::milliseconds(10);
    startWithTokens();
    RpcTestClient operating(address, withToken(controlToken));
    std::string lines = tokenLines;

    writeTokens(lines.replace(lines.find("control"), 7, "watch"));

    EXPECT_FALSE(operating.receive());
}

TEST_F(AServerWithAGuard, ListsAClientWithTheNameOfTheTokenInItsHeader) {
    startWithTokens();
    const RpcTestClient viewer(address, withToken(watchToken));
    EXPECT_THAT(server.clients(), ElementsAre(L"viewer " + viewer.name));
    TestClient caller(address);

    caller.send("GET / HTTP/1.1\r\nHost: " + ownHost() +
                "\r\nX-Forwarded-For: 192.0.2.7\r\nAuthorization: Bearer do\r\n\r\n");
    caller.readUntil("\r\n\r\n");
    EXPECT_THAT(server.clients(), Contains(L"line-1 " + caller.name()));
    caller.send("GET / HTTP/1.1\r\nHost: " + ownHost() + "\r\n\r\n");

    EXPECT_TRUE(eventually([&] { return server.clients().back() == caller.name(); }));
}

TEST_F(AServerWithAGuard, TakesTheSchemeOfATokenInAnyCase) {
    startWithTokens();

    EXPECT_EQ(postStatus({forwarded[0], {"Authorization", "bEARER see"}}), 200U);
    EXPECT_EQ(postStatus({forwarded[0], {"Authorization", "Basic see"}}), 401U);
}

TEST_F(AServerWithAGuard, ComplainsAboutAFileOfNoUseWhenItStarts) {
    startWithTokens("guest viewer 00\n");

    EXPECT_THAT(traces.texts(), ElementsAre(HasSubstr(L"access.token: line 1: expected the role")));
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
