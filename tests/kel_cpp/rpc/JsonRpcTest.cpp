#include "kel_cpp/rpc/JsonRpc.hpp"

#include <optional>
#include <system_error>

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kel_server_lib/runtime/KelApiException.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "tests/kel_cpp/rpc/TestingRpcClient.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

namespace json = boost::json;

using testing::ElementsAre;
using testing::HasSubstr;

const std::error_code denied = std::make_error_code(std::errc::permission_denied);

class AJsonRpc : public testing::Test {
protected:
    static std::vector<RpcMethod> methods(std::vector<RpcCall>& kept, int& calls) {
        return {
            {"echo", Role::Watch,
             [&](const RpcCall& call) {
                 ++calls;
                 call.params.allowOnly({"text"});
                 call.answer.result(call.params.text("text") == L"\u00E4" ? "umlaut" : "other");
             }},
            {"number", Role::Watch,
             [](const RpcCall& call) { call.answer.result(call.params.number("value")); }},
            {"later", Role::Watch, [&](const RpcCall& call) { kept.push_back(call); }},
            {"runtime", Role::Watch,
             [](const RpcCall&) { throw KelApiException(L"no project", 31); }},
            {"broken", Role::Watch, [](const RpcCall&) { throw std::runtime_error("a bug"); }},
            {"denied", Role::Watch, [](const RpcCall&) { throw std::system_error(denied, "no"); }},
            {"act", Role::Control,
             [&](const RpcCall& call) {
                 ++calls;
                 call.answer.result(true);
             }},
            {"open", Role::None, [](const RpcCall& call) { call.answer.result(true); }},
        };
    }

    /// The reply, or nothing while there is none.
    std::optional<std::string> handle(const std::string& message) {
        reply.reset();
        rpc.handle(message, client, [this](std::string text) {
            EXPECT_FALSE(reply) << "a second reply: " << text;
            reply = std::move(text);
        });
        return reply;
    }
    json::value replyTo(const std::string& message) { return json::parse(handle(message).value()); }
    std::int64_t errorOf(const std::string& message) {
        return replyTo(message).at("error").at("code").as_int64();
    }
    std::string messageOf(const std::string& message) {
        return std::string(replyTo(message).at("error").at("message").as_string());
    }
    static std::string call(const std::string& method, const std::string& params) {
        return R"({"jsonrpc":"2.0","id":1,"method":")" + method + R"(","params":)" + params + "}";
    }

    std::vector<RpcCall> kept;
    int calls = 0;
    JsonRpc rpc{methods(kept, calls)};
    std::shared_ptr<TestingRpcClient> client = std::make_shared<TestingRpcClient>();
    std::optional<std::string> reply;
};

TEST_F(AJsonRpc, AnswersACallWithItsResultAndIdentifier) {
    const json::value response = replyTo(call("echo", R"({"text":"\u00e4"})"));

    EXPECT_EQ(response, json::value({{"jsonrpc", "2.0"}, {"id", 1}, {"result", "umlaut"}}));
}

TEST_F(AJsonRpc, KeepsIdentifiersOfEachKind) {
    const auto idOf = [this](const std::string& id) {
        return replyTo(R"({"jsonrpc":"2.0","method":"open","id":)" + id + "}").at("id");
    };

    EXPECT_EQ(idOf("\"a\""), json::value("a"));
    EXPECT_EQ(idOf("-7"), json::value(-7));
    EXPECT_EQ(idOf("1.5"), json::value(1.5));
    EXPECT_EQ(idOf("null"), json::value());
}

TEST_F(AJsonRpc, AnswersNoNotificationNotEvenAWrongOne) {
    EXPECT_EQ(handle(R"({"jsonrpc":"2.0","method":"echo","params":{"text":"a"}})"), "");
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(handle(R"({"jsonrpc":"2.0","method":"unknown"})"), "");
    EXPECT_EQ(handle(R"({"jsonrpc":"2.0","method":"echo"})"), "");
}

TEST_F(AJsonRpc, TakesAnAnswerLater) {
    EXPECT_FALSE(handle(call("later", "{}")));

    kept[0].answer.result("done");

    EXPECT_EQ(json::parse(reply.value()).at("result"), json::value("done"));
}

TEST_F(AJsonRpc, HandsTheClientToTheMethod) {
    handle(call("later", "{}"));

    EXPECT_EQ(kept[0].client, client);
}

TEST_F(AJsonRpc, RefusesWhatIsNoJson) {
    EXPECT_EQ(errorOf("{"), -32700);
    EXPECT_EQ(errorOf(""), -32700);
    EXPECT_EQ(errorOf("{} x"), -32700);
    EXPECT_EQ(errorOf("{\"a\":\"\xC3\x28\"}"), -32700);
    EXPECT_EQ(replyTo("{").at("id"), json::value());
    EXPECT_EQ(replyTo("{").at("jsonrpc"), json::value("2.0"));
}

TEST_F(AJsonRpc, RefusesJsonThatIsNestedTooDeep) {
    const auto nested = [](std::size_t depth) {
        return std::string(depth, '[') + std::string(depth, ']');
    };
    EXPECT_EQ(errorOf(call("echo", "{\"text\":" + nested(29) + "}")), -32602);

    EXPECT_EQ(errorOf(nested(100000)), -32700);
    EXPECT_EQ(errorOf(call("echo", "{\"text\":" + nested(31) + "}")), -32700);
}

TEST_F(AJsonRpc, RefusesWhatIsNoRequest) {
    EXPECT_EQ(errorOf("1"), -32600);
    EXPECT_EQ(errorOf("{}"), -32600);
    EXPECT_EQ(errorOf(R"({"jsonrpc":"1.0","id":1,"method":"open"})"), -32600);
    EXPECT_EQ(errorOf(R"({"jsonrpc":2.0,"id":1,"method":"open"})"), -32600);
    EXPECT_EQ(errorOf(R"({"jsonrpc":"2.0","id":1})"), -32600);
    EXPECT_EQ(errorOf(R"({"jsonrpc":"2.0","id":1,"method":7})"), -32600);
    EXPECT_EQ(errorOf(R"({"jsonrpc":"2.0","id":{},"method":"open"})"), -32600);
    EXPECT_EQ(errorOf(R"({"jsonrpc":"2.0","id":1,"method":"open","params":1})"), -32600);
}

TEST_F(AJsonRpc, KeepsTheIdentifierOfAWrongRequest) {
    EXPECT_EQ(replyTo(R"({"jsonrpc":"2.0","id":5})").at("id"), json::value(5));
    EXPECT_EQ(replyTo(R"({"jsonrpc":"2.0","id":{},"method":"open"})").at("id"), json::value());
}

TEST_F(AJsonRpc, NamesAnUnknownMethod) {
    EXPECT_EQ(errorOf(call("no.such", "{}")), -32601);
    EXPECT_EQ(messageOf(call("no.such", "{}")), "there is no method \"no.such\"");
}

TEST_F(AJsonRpc, NamesAWrongParameter) {
    EXPECT_EQ(errorOf(call("echo", "{}")), -32602);
    EXPECT_EQ(messageOf(call("echo", "{}")), "the parameter \"text\" is missing");
    EXPECT_EQ(messageOf(call("echo", R"({"text":1})")), "the parameter \"text\" is a text");
    EXPECT_EQ(messageOf(call("echo", R"({"text":"a","more":1})")),
              "there is no parameter \"more\"");
    EXPECT_EQ(messageOf(call("number", R"({"value":-1})")),
              "the parameter \"value\" is a whole number from 0 on");
    EXPECT_EQ(errorOf(call("number", R"({"value":1.5})")), -32602);
    EXPECT_EQ(errorOf(call("number", R"({"value":"1"})")), -32602);
    EXPECT_EQ(replyTo(call("number", R"({"value":0})")).at("result"), json::value(0));
    EXPECT_EQ(errorOf(call("echo", R"(["a"])")), -32602);
    EXPECT_EQ(replyTo(call("open", "[]")).at("result"), json::value(true));
}

TEST_F(AJsonRpc, TellsTheCodeOfTheRuntime) {
    const json::value error = replyTo(call("runtime", "{}")).at("error");

    EXPECT_EQ(error, json::value({{"code", -32000},
                                  {"message", "no project"},
                                  {"data", json::object{{"errorCode", 31}}}}));
}

TEST_F(AJsonRpc, TellsAnInternalError) {
    EXPECT_EQ(errorOf(call("broken", "{}")), -32603);
    EXPECT_EQ(messageOf(call("broken", "{}")), "a bug");
    EXPECT_EQ(messageOf(call("denied", "{}")),
              "no: " + Platform::toUtf8(Platform::errorText(denied)));
}

TEST_F(AJsonRpc, AsksForTheRoleOfAMethod) {
    client->granted = Role::Watch;
    EXPECT_EQ(errorOf(call("act", "{}")), -32001);
    EXPECT_EQ(messageOf(call("act", "{}")), "this client may watch, but not control the server");
    EXPECT_EQ(calls, 0);
    client->granted = Role::None;
    EXPECT_EQ(messageOf(call("echo", R"({"text":"a"})")), "this client has not logged in");
    EXPECT_EQ(replyTo(call("open", "{}")).at("result"), json::value(true));
    client->granted = Role::Control;
    EXPECT_EQ(replyTo(call("act", "{}")).at("result"), json::value(true));
}

TEST_F(AJsonRpc, AnswersABatchWhenAllOfItHasBeenAnswered) {
    const auto early = handle(R"([{"jsonrpc":"2.0","id":1,"method":"later"},)"
                              R"({"jsonrpc":"2.0","method":"open"},)"
                              R"({"jsonrpc":"2.0","id":2,"method":"open"},7])");
    EXPECT_FALSE(early);

    kept[0].answer.result("late");

    const json::array responses = json::parse(reply.value()).as_array();
    ASSERT_EQ(responses.size(), 3U);
    EXPECT_EQ(responses[0].at("id"), json::value(2));
    EXPECT_EQ(responses[1].at("error").at("code"), json::value(-32600));
    EXPECT_EQ(responses[2].at("result"), json::value("late"));
}

TEST_F(AJsonRpc, AnswersNoBatchOfNotifications) {
    EXPECT_EQ(handle(R"([{"jsonrpc":"2.0","method":"open"}])"), "");
}

TEST_F(AJsonRpc, RefusesAnEmptyBatchAndOneThatIsTooLong) {
    EXPECT_EQ(errorOf("[]"), -32600);
    std::string batch = "[";
    for (int count = 0; count < 100; ++count) {
        batch += R"({"jsonrpc":"2.0","id":1,"method":"act"},)";
    }
    EXPECT_EQ(errorOf(batch + "1]"), -32600);
    EXPECT_EQ(calls, 0);
    batch.back() = ']';
    EXPECT_EQ(replyTo(batch).as_array().size(), 100U);
}

TEST_F(AJsonRpc, WritesANotification) {
    EXPECT_EQ(JsonRpc::notification("status.changed", {{"text", "a"}}),
              R"({"jsonrpc":"2.0","method":"status.changed","params":{"text":"a"}})");
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
