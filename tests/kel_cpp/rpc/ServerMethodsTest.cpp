#include "kel_cpp/rpc/ServerMethods.hpp"

#include <set>

#include <boost/json/serialize.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Quarlen::Kel_cpp::Tests {
namespace {

class SomeServerMethods : public testing::Test {
protected:
    ServerModel model;
    StatusLog statuses;
    RunLog runs;
    ServerTasks tasks;
    std::vector<RpcMethod> methods =
        serverMethods({model, statuses, runs, tasks, [](const RpcCall&) {}});
};

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
