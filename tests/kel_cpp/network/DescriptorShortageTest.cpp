#include <chrono>
#include <ctime>
#include <fcntl.h>
#include <optional>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kel_cpp/network/RuntimeServer.hpp"
#include "tests/kel_cpp/network/NetworkTesting.hpp"
#include "tests/kel_cpp/network/ServedRuntime.hpp"
#include "tests/support/NumberedCause.hpp"
#include "tests/support/TraceCapture.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

int highestDescriptor() {
    int number = 1023;
    while (::fcntl(number, F_GETFD) == -1) {
        --number;
    }
    return number;
}

/// Leaves the process without a free file descriptor: the numbers between those in use are taken,
/// too, so that a descriptor that is closed is one that can be had again.
class Shortage {
public:
    Shortage() {
        ::getrlimit(RLIMIT_NOFILE, &before);
        const int highest = highestDescriptor();
        int next = ::dup(STDIN_FILENO);
        for (; next < highest; next = ::dup(STDIN_FILENO)) {
            fillers.push_back(next);
        }
        ::close(next);
        rlimit now = before;
        now.rlim_cur = static_cast<rlim_t>(next);
        ::setrlimit(RLIMIT_NOFILE, &now);
    }
    Shortage(const Shortage&) = delete;
    Shortage& operator=(const Shortage&) = delete;
    ~Shortage() {
        ::setrlimit(RLIMIT_NOFILE, &before);
        for (const int filler : fillers) {
            ::close(filler);
        }
    }

private:
    rlimit before{};
    std::vector<int> fillers;
};

std::chrono::duration<double> processorTime() {
    return std::chrono::duration<double>(static_cast<double>(std::clock()) / CLOCKS_PER_SEC);
}

class ServerWithoutDescriptors : public testing::Test {
protected:
    /// The client's socket exists before the shortage; its connection waits to be accepted.
    void connectInShortage() {
        socket.open(boost::asio::ip::tcp::v4());
        shortage.emplace();
        socket.connect({boost::asio::ip::address_v4::loopback(), port});
    }

    ServedRuntime served;
    RuntimeServer server{served.sources()};
    unsigned short port = 0;
    boost::asio::io_context context;
    boost::asio::ip::tcp::socket socket{context};
    std::optional<Shortage> shortage;
    Quarlen::Tests::TraceCapture traces;

    void SetUp() override {
        const std::wstring address = server.start(L"127.0.0.1:0");
        port = static_cast<unsigned short>(std::stoul(address.substr(address.rfind(L':') + 1)));
    }
};

TEST_F(ServerWithoutDescriptors, NeitherSpinsNorForgetsTheClient) {
    connectInShortage();
    ASSERT_TRUE(eventually([&] { return !traces.lines().empty(); }));

    const auto begin = std::chrono::steady_clock::now();
    const auto before = processorTime();
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    const auto used = processorTime() - before;
    const auto time = std::chrono::steady_clock::now() - begin;
    EXPECT_TRUE(server.clients().empty());
    shortage.reset();

    EXPECT_LT(used, time / 5);
    EXPECT_TRUE(eventually([&] { return server.clients().size() == 1; }));
    ASSERT_EQ(traces.lines().size(), 1U);
    EXPECT_THAT(traces.texts()[0], testing::AllOf(testing::StartsWith(L"cannot accept clients: "),
                                                  Quarlen::Tests::EndsWithANumber()));
}

TEST_F(ServerWithoutDescriptors, LetsTheLongestIdleClientMakeRoom) {
    TestClient idle(L"127.0.0.1:" + std::to_wstring(port));
    ASSERT_TRUE(eventually([&] { return server.clients().size() == 1; }));
    const auto before = server.clients();

    connectInShortage();

    EXPECT_TRUE(idle.waitForClose());
    EXPECT_TRUE(
        eventually([&] { return server.clients().size() == 1 && server.clients() != before; }));
    // There is none for a further client, but nobody asks.
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(server.clients().size(), 1U);
}

TEST_F(ServerWithoutDescriptors, StopsAtOnce) {
    connectInShortage();
    ASSERT_TRUE(eventually([&] { return !traces.lines().empty(); }));

    server.stopAll();

    EXPECT_TRUE(server.clients().empty());
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
