#include "kel_cpp/rpc/ServerMethods.hpp"

#include <algorithm>
#include <future>
#include <memory>
#include <set>

#include <boost/json/serialize.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/kel_cpp/rpc/TestingRpcClient.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

class SomeServerMethods : public testing::Test {
protected:
    /// What the call is answered, `{"result": …}` or `{"error": …}`.
    boost::json::object answerTo(const std::string& method, boost::json::object params = {}) {
        std::promise<boost::json::object> answer;
        const RpcMethod& found =
            *std::find_if(methods.begin(), methods.end(),
                          [&](const RpcMethod& each) { return each.name == method; });
        const RpcCall call{RpcParams(std::move(params)), client, RpcAnswer([&](auto outcome) {
                               onAnswer();
                               answer.set_value(std::move(outcome));
                           })};
        try {
            found.run(call);
        } catch (...) {
            call.answer.failure(std::current_exception());
        }
        return answer.get_future().get();
    }
    boost::json::value errorCodeOf(const std::string& method, boost::json::object params) {
        return answerTo(method, std::move(params)).at("error").at("code");
    }

    ServerModel model;
    StatusLog statuses;
    RunLog runs;
    std::function<void()> onAnswer = [] {};
    std::vector<std::wstring> listed;
    std::shared_ptr<TestingRpcClient> client = std::make_shared<TestingRpcClient>();
    ServerTasks tasks;
    std::vector<RpcMethod> methods =
        serverMethods({model, statuses, runs, tasks, [](const RpcCall&) {},
                       [this](const std::wstring& name) {
                           listed.push_back(name);
                           return std::shared_ptr<const void>(
                               &listed, [this](const void*) { listed.pop_back(); });
                       }});
};

TEST_F(SomeServerMethods, SubscribeWithTheStatusThatWasThereBeforeTheAnswer) {
    statuses.set(L"present");
    onAnswer = [this] { statuses.set(L"later"); };

    EXPECT_EQ(answerTo("status.subscribe").at("result"), boost::json::value(true));

    ASSERT_TRUE(client->subscribedWith);
    EXPECT_EQ(client->subscribedWith->text, L"present");
    answerTo("status.unsubscribe");
    EXPECT_FALSE(client->subscribedWith);
}

TEST_F(SomeServerMethods, TakeTheNameOfAScriptOfAtMost1024Characters) {
    std::wstring asked;
    model.startSequence = [&](const std::wstring& name, const std::wstring& /*client*/) {
        asked = name;
        return true;
    };
    const std::string longest(1024, 'n');

    EXPECT_EQ(answerTo("sequence.start", {{"name", longest}}).at("result").at("handled"),
              boost::json::value(true));
    EXPECT_EQ(asked.size(), 1024U);
    const boost::json::object refusal = answerTo("sequence.start", {{"name", longest + "n"}});
    EXPECT_EQ(refusal.at("error").at("code"), boost::json::value(-32602));
    EXPECT_EQ(refusal.at("error").at("message"),
              boost::json::value("the parameter \"name\" has at most 1024 characters"));
}

TEST_F(SomeServerMethods, KeepAClientListedUntilItsStartHasEnded) {
    std::size_t during = 0;
    model.startSequence = [&](const std::wstring& /*name*/, const std::wstring& /*client*/) {
        during = listed.size();
        EXPECT_EQ(listed.back(), L"tester");
        return true;
    };
    answerTo("sequence.start", {{"name", "A"}});
    tasks.stop();

    EXPECT_EQ(during, 1U);
    EXPECT_TRUE(listed.empty());
}

TEST_F(SomeServerMethods, TellThatThereIsNoSuchRun) {
    EXPECT_EQ(errorCodeOf("runs.get", {{"id", 1}}), boost::json::value(-32003));
    EXPECT_EQ(errorCodeOf("runs.get", {{"id", -1}}), boost::json::value(-32602));
}

TEST_F(SomeServerMethods, AreAllDescribed) {
    std::set<std::string> names;
    std::set<std::string> described;
    for (const RpcMethod& method : methods) {
        names.insert(method.name);
        EXPECT_TRUE(method.run) << method.name;
    }
    const boost::json::object description = describeServerMethods("1.2.3");
    for (const auto& method : description.at("methods").as_array()) {
        described.emplace(method.at("name").as_string());
        EXPECT_FALSE(method.at("summary").as_string().empty());
        EXPECT_TRUE(method.at("result").at("schema").is_object());
    }

    EXPECT_EQ(names, described);
    EXPECT_EQ(description.at("openrpc"), boost::json::value("1.2.6"));
    EXPECT_EQ(description.at("info").at("version"), boost::json::value("1.2.3"));
}

TEST_F(SomeServerMethods, DescribeTheirNotifications) {
    std::set<std::string> described;
    const boost::json::object description = describeServerMethods("1");
    for (const auto& notification : description.at("x-notifications").as_array()) {
        described.emplace(notification.at("name").as_string());
        EXPECT_FALSE(notification.at("summary").as_string().empty());
        EXPECT_FALSE(notification.at("params").at("required").as_array().empty());
    }

    EXPECT_THAT(described, testing::ElementsAre("job.progress", "run.ended", "status.changed"));
}

TEST_F(SomeServerMethods, AskForTheRoleThatTheyNeed) {
    std::set<std::string> controlling;
    std::set<std::string> open;
    for (const RpcMethod& method : methods) {
        if (method.role == Role::Control) {
            controlling.insert(method.name);
        } else if (method.role == Role::None) {
            open.insert(method.name);
        }
    }

    EXPECT_THAT(controlling, testing::ElementsAre("sequence.cancel", "sequence.start"));
    EXPECT_THAT(open, testing::ElementsAre("session.login", "session.role"));
}

TEST_F(SomeServerMethods, DescribeTheirParameters) {
    const boost::json::object description = describeServerMethods("1");
    for (const auto& method : description.at("methods").as_array()) {
        if (method.at("name") == boost::json::value("sequence.start")) {
            EXPECT_EQ(boost::json::serialize(method.at("params")),
                      R"([{"name":"name","required":true,"schema":{"type":"string"}}])");
            EXPECT_EQ(method.at("x-role"), boost::json::value("control"));
        }
    }
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
