#include "kel_cpp/network/ClientList.hpp"

#include <chrono>
#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kel_cpp/rpc/AccessTokens.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class TestingConnection final : public Connection {
public:
    [[nodiscard]] std::chrono::steady_clock::time_point lastUsed() const override { return used; }
    [[nodiscard]] bool isStranger() const override { return stranger; }
    void notify(const Message& message, std::uint64_t number, bool mayBeDropped) override {
        heard.push_back(*message + " " + std::to_string(number) + (mayBeDropped ? " dropped" : ""));
    }
    void makeRoom() override { ++madeRoom; }
    void checkToken(const AccessTokens& /*tokens*/) override { ++checked; }
    void close() override { ++closed; }

    std::chrono::steady_clock::time_point used;
    std::vector<std::string> heard;
    bool stranger = false;
    int madeRoom = 0;
    int checked = 0;
    int closed = 0;
};

class AClientList : public testing::Test {
protected:
    std::shared_ptr<TestingConnection> add(const std::wstring& name, int secondsOfUse,
                                           const std::wstring& address = L"A") {
        auto connection = std::make_shared<TestingConnection>();
        connection->used += std::chrono::seconds(secondsOfUse);
        lastId = list.add(connection, address, name);
        return connection;
    }

    ClientList list{3};
    ClientId lastId = 0;
};

TEST_F(AClientList, NamesTheClientsInTheOrderInWhichTheyCame) {
    add(L"one", 9);
    add(L"two", 1);

    EXPECT_THAT(list.names(), ElementsAre(L"one", L"two"));
}

TEST_F(AClientList, LetsTheLongestIdleClientGoWhenItIsFull) {
    add(L"one", 5);
    const auto idle = add(L"two", 2);
    add(L"three", 7);
    EXPECT_EQ(idle->madeRoom, 0);

    add(L"four", 8);

    EXPECT_EQ(idle->madeRoom, 1);
    EXPECT_EQ(idle->closed, 0);
    EXPECT_THAT(list.names(), ElementsAre(L"one", L"three", L"four"));
}

TEST_F(AClientList, LetsAStrangerGoBeforeEverybodyElse) {
    const auto idle = add(L"one", 1);
    const auto stranger = add(L"two", 9);
    stranger->stranger = true;
    const auto longerThere = add(L"three", 8);
    longerThere->stranger = true;

    add(L"four", 10);
    EXPECT_EQ(longerThere->madeRoom, 1);
    add(L"five", 10);
    EXPECT_EQ(stranger->madeRoom, 1);
    add(L"six", 10);
    EXPECT_EQ(idle->madeRoom, 1);
}

TEST_F(AClientList, LetsOneClientGoAtATimeWhereThereIsNoRoomForOthers) {
    auto first = add(L"one", 1);
    const auto second = add(L"two", 2);
    list.makeRoom();
    list.makeRoom();
    EXPECT_EQ(first->madeRoom, 1);
    EXPECT_EQ(second->madeRoom, 0);

    first.reset();
    list.makeRoom();

    EXPECT_EQ(second->madeRoom, 1);
    EXPECT_THAT(list.names(), IsEmpty());
    list.makeRoom();
}

TEST_F(AClientList, AsksAllClientsToCheckTheirTokens) {
    const auto first = add(L"one", 1);
    const auto second = add(L"two", 2);
    const AccessTokens tokens({});

    list.checkTokens(tokens);

    EXPECT_EQ(first->checked, 1);
    EXPECT_EQ(second->checked, 1);
}

TEST_F(AClientList, NamesAClientThatIsKeptListedOnceAndAlsoAfterItsEnd) {
    add(L"one", 1);
    auto kept = list.keepListed(L"one");
    auto again = list.keepListed(L"one");
    add(L"two", 2);
    EXPECT_THAT(list.names(), ElementsAre(L"one", L"two"));

    list.remove(lastId - 1);
    EXPECT_THAT(list.names(), ElementsAre(L"two", L"one"));
    kept.reset();
    EXPECT_THAT(list.names(), ElementsAre(L"two", L"one"));
    again.reset();
    EXPECT_THAT(list.names(), ElementsAre(L"two"));
}

TEST_F(AClientList, CanEndBeforeAClientThatItKeepsListed) {
    auto ending = std::make_unique<ClientList>(1);
    const auto kept = ending->keepListed(L"one");

    ending.reset();

    EXPECT_TRUE(kept);
}

TEST_F(AClientList, ForgetsAClientThatIsRemoved) {
    add(L"one", 1);
    list.remove(lastId);
    list.remove(lastId);

    EXPECT_THAT(list.names(), IsEmpty());
}

TEST_F(AClientList, GoesOnWithAnotherConnectionOfTheSameClient) {
    const auto former = add(L"one", 1);
    const auto next = std::make_shared<TestingConnection>();

    EXPECT_TRUE(list.replace(lastId, next));
    list.notify(std::make_shared<const std::string>("text"), 4, true);

    EXPECT_THAT(former->heard, IsEmpty());
    EXPECT_THAT(next->heard, ElementsAre("text 4 dropped"));
    list.remove(lastId);
    EXPECT_FALSE(list.replace(lastId, former));
    EXPECT_THAT(list.names(), IsEmpty());
}

TEST_F(AClientList, RenamesAClient) {
    add(L"one", 1);
    list.rename(lastId, L"line one");
    list.rename(lastId + 1, L"nobody");

    EXPECT_THAT(list.names(), ElementsAre(L"line one"));
}

TEST_F(AClientList, ClosesTheClientsOfOneAddress) {
    const auto first = add(L"one", 1, L"A");
    const auto second = add(L"two", 1, L"B");

    list.closeAll(L"A");

    EXPECT_EQ(first->closed, 1);
    EXPECT_EQ(second->closed, 0);
    EXPECT_THAT(list.names(), ElementsAre(L"two"));
}

TEST_F(AClientList, ClosesAlsoAClientThatIsStillLeaving) {
    const auto leaving = add(L"one", 1);
    add(L"two", 2);
    add(L"three", 3);
    add(L"four", 4);

    list.closeAll(L"A");

    EXPECT_EQ(leaving->closed, 1);
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
