#include "kel_cpp/network/RuntimeServer.hpp"

#include <memory>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kel_cpp/base/RuntimeError.hpp"
#include "tests/kel_cpp/network/NetworkTesting.hpp"
#include "tests/kel_cpp/network/ServedRuntime.hpp"
#include "tests/support/BoundAddress.hpp"
#include "tests/support/LoopbackPort.hpp"
#include "tests/support/NumberedCause.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using testing::UnorderedElementsAre;

constexpr const wchar_t* anyPort = L"127.0.0.1:0";

/// One that nobody else gets while a test has stopped its server.
std::wstring addressOfItsOwn() {
    return L"127.0.0.1:" + std::to_wstring(Quarlen::Tests::freePort());
}

class ARuntimeServer : public testing::Test {
protected:
    bool eventuallyHasClients(std::size_t count) {
        return eventually([&] { return server.clients().size() == count; });
    }

    ServedRuntime served;
    RuntimeServer server{served.sources()};
};

TEST_F(ARuntimeServer, SaysWhereItListens) {
    const std::wstring address = server.start(anyPort);

    EXPECT_THAT(address, StartsWith(L"127.0.0.1:"));
    EXPECT_NE(address, anyPort);
    EXPECT_NO_THROW(TestClient{address});
}

TEST_F(ARuntimeServer, ListensOnTheAddressOfAHostName) {
    EXPECT_THAT(server.start(L"localhost:0"), StartsWith(L"127.0.0.1:"));
}

TEST_F(ARuntimeServer, ListensOnAUrl) {
    EXPECT_THAT(server.start(L"http://localhost:0/"), StartsWith(L"127.0.0.1:"));
}

TEST(RuntimeServerWithAdapters, ListensOnTheAddressOfAnAdapter) {
    ServedRuntime served;
    RuntimeServer server(served.sources(), [] {
        Platform::NetworkAdapter adapter;
        adapter.systemName = L"wg0";
        adapter.up = true;
        adapter.firstIpv4Address = L"127.0.0.1";
        return std::vector{adapter};
    });

    EXPECT_THAT(server.start(L"wg0:0"), StartsWith(L"127.0.0.1:"));
    EXPECT_EQ(messageOf([&] { server.start(L"eth0:0"); }),
              L"cannot listen on \"eth0:0\": no network adapter and no IPv4 address belongs to "
              L"\"eth0\"");
}

TEST_F(ARuntimeServer, ListsItsClientsUntilTheyGo) {
    const std::wstring address = server.start(anyPort);
    TestClient first(address);
    TestClient second(address);

    ASSERT_TRUE(eventuallyHasClients(2));
    EXPECT_THAT(server.clients(), UnorderedElementsAre(first.name(), second.name()));
    first.leave();
    ASSERT_TRUE(eventuallyHasClients(1));
    EXPECT_THAT(server.clients(), UnorderedElementsAre(second.name()));
}

TEST_F(ARuntimeServer, ClosesItsClientsWhenItStops) {
    const std::wstring address = server.start(addressOfItsOwn());
    TestClient client(address);
    ASSERT_TRUE(eventuallyHasClients(1));

    server.stop(address);

    EXPECT_TRUE(client.waitForClose());
    EXPECT_THAT(server.clients(), IsEmpty());
    EXPECT_THROW(TestClient{address}, boost::system::system_error);
}

TEST(RuntimeServer, StartsOnceAnAddressIsFreeThatNobodyListensOn) {
    Quarlen::Tests::BoundAddress held;
    ServedRuntime served;
    RuntimeServer server(served.sources({.clock = held.freedBySleep()}));
    const std::wstring address = L"127.0.0.1:" + std::to_wstring(held.port());

    EXPECT_EQ(server.start(address), address);
    EXPECT_EQ(held.sleeps(), 1U);
}

TEST_F(ARuntimeServer, KeepsTheOtherAddressesWhenOneStops) {
    const std::wstring stopped = server.start(anyPort);
    const std::wstring kept = server.start(anyPort);
    TestClient client(kept);
    ASSERT_TRUE(eventuallyHasClients(1));

    server.stop(stopped);

    EXPECT_THAT(server.clients(), UnorderedElementsAre(client.name()));
    EXPECT_NO_THROW(TestClient{kept});
}

TEST_F(ARuntimeServer, StartsAgainOnAnAddressThatItJustStoppedWithClients) {
    const std::wstring address = server.start(addressOfItsOwn());
    TestClient client(address);
    ASSERT_TRUE(eventuallyHasClients(1));
    server.stop(address);
    ASSERT_TRUE(client.waitForClose());

    EXPECT_EQ(server.start(address), address);
}

TEST_F(ARuntimeServer, RefusesToStopWhatDoesNotListen) {
    EXPECT_EQ(messageOf([&] { server.stop(L"127.0.0.1:58000"); }),
              L"nothing listens on \"127.0.0.1:58000\"");
    const std::wstring address = server.start(anyPort);
    server.stop(address);
    EXPECT_THROW(server.stop(address), KelApiException);
}

TEST_F(ARuntimeServer, RefusesAPortThatIsTaken) {
    const std::wstring address = server.start(anyPort);
    ServedRuntime otherServed;
    RuntimeServer other(otherServed.sources());

    const std::wstring message = messageOf([&] { other.start(address); });

    EXPECT_THAT(message, AllOf(StartsWith(L"cannot listen on \"" + address + L"\": "),
                               Quarlen::Tests::EndsWithANumber()));
    EXPECT_GT(message.size(), address.size() + 22);
    EXPECT_THROW(server.start(address), KelApiException);
    EXPECT_THAT(server.start(anyPort), StartsWith(L"127.0.0.1:"));
}

TEST_F(ARuntimeServer, RefusesAnAddressThatIsNotThisMachines) {
    // Documentation addresses (RFC 5737) belong to nobody.
    EXPECT_THAT(messageOf([&] { server.start(L"192.0.2.1:58000"); }),
                AllOf(StartsWith(L"cannot listen on \"192.0.2.1:58000\": "),
                      Quarlen::Tests::EndsWithANumber()));
}

TEST_F(ARuntimeServer, RefusesAHostNameThatNobodyKnows) {
    // The name is reserved for this purpose (RFC 6761, clause 6.4).
    EXPECT_THAT(messageOf([&] { server.start(L"nowhere.invalid:58000"); }),
                AllOf(StartsWith(L"cannot listen on \"nowhere.invalid:58000\": "),
                      Quarlen::Tests::EndsWithANumber()));
}

TEST_F(ARuntimeServer, FreesTheClientsOfAStoppedAddressForOthers) {
    served.settings.limits.maxClients = 256;
    const std::wstring stopped = server.start(anyPort);
    const std::wstring kept = server.start(anyPort);
    std::vector<std::unique_ptr<TestClient>> clients;
    for (int index = 0; index < 256; ++index) {
        clients.push_back(std::make_unique<TestClient>(stopped));
    }
    ASSERT_TRUE(eventuallyHasClients(256));

    server.stop(stopped);

    const TestClient next(kept);
    EXPECT_TRUE(eventuallyHasClients(1));
}

TEST(RuntimeServer, ClosesEverythingAtItsEnd) {
    ServedRuntime served;
    auto server = std::make_unique<RuntimeServer>(served.sources());
    const std::wstring address = server->start(addressOfItsOwn());
    TestClient client(address);

    server.reset();

    EXPECT_TRUE(client.waitForClose());
    EXPECT_THROW(TestClient{address}, boost::system::system_error);
}

TEST_F(ARuntimeServer, StopsAllAddressesAndCanBeStoppedTwice) {
    const std::wstring first = server.start(addressOfItsOwn());
    const std::wstring second = server.start(addressOfItsOwn());

    server.stopAll();
    server.stopAll();

    EXPECT_THROW(TestClient{first}, boost::system::system_error);
    EXPECT_THROW(TestClient{second}, boost::system::system_error);
}

TEST_F(ARuntimeServer, IsUsedFromSeveralThreadsAtOnce) {
    constexpr int rounds = 30;
    std::vector<std::thread> threads;
    for (int index = 0; index < 3; ++index) {
        threads.emplace_back([&] {
            for (int round = 0; round < rounds; ++round) {
                const std::wstring address = server.start(anyPort);
                TestClient client(address);
                (void)server.clients();
                server.stop(address);
                EXPECT_TRUE(client.waitForClose());
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    EXPECT_THAT(server.clients(), IsEmpty());
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
