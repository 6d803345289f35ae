#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <sched.h>
#include <system_error>
#include <unistd.h>

#include "tests/kel_server_lib/rest/RestFixture.hpp"

namespace Quarlen::Tests {

namespace {

using testing::HasSubstr;

/// A network of its own, as on another machine, with a cable to this one. Needs root and the "ip"
/// tool; removed at the end.
class OtherMachine {
public:
    OtherMachine() {
        usable = run("ip netns add " + name) &&
                 run("ip link add " + name + "a type veth peer name " + name + "b netns " + name) &&
                 run("ip addr add " + ownAddress + "/30 dev " + name + "a") &&
                 run("ip link set " + name + "a up") &&
                 run("ip -n " + name + " addr add " + otherAddress + "/30 dev " + name + "b") &&
                 run("ip -n " + name + " link set " + name + "b up");
    }
    OtherMachine(const OtherMachine&) = delete;
    OtherMachine& operator=(const OtherMachine&) = delete;
    ~OtherMachine() {
        run("ip link del " + name + "a");
        run("ip netns del " + name);
    }

    [[nodiscard]] bool isThere() const { return usable; }

    /// The reply to a GET that is sent from there; nothing when this machine refuses to connect.
    [[nodiscard]] std::optional<std::string> get(std::uint16_t port,
                                                 const std::string& path) const {
        std::optional<std::string> reply;
        // Only the calling thread moves into the other network.
        std::thread([&] {
            const int network = ::open(("/run/netns/" + name).c_str(), O_RDONLY | O_CLOEXEC);
            if (::setns(network, CLONE_NEWNET) == 0) {
                reply = getFromHere(port, path);
            }
            ::close(network);
        }).join();
        return reply;
    }

private:
    static bool run(const std::string& command) {
        return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
    }

    [[nodiscard]] std::optional<std::string> getFromHere(std::uint16_t port,
                                                         const std::string& path) const {
        try {
            RawClient client(port, ownAddress);
            client.send("GET " + path + " HTTP/1.1\r\nHost: x\r\n\r\n");
            return client.receiveReply();
        } catch (const std::system_error&) {
            return std::nullopt;
        }
    }

    const std::string name = "kel" + std::to_string(::getpid());
    const std::string subnet = "10.231." + std::to_string(::getpid() % 250);
    const std::string ownAddress = subnet + ".1";
    const std::string otherAddress = subnet + ".2";
    bool usable = false;
};

/// The server started in a folder that may hold the marker file ".testing.device".
class TestingDevice : public RestFixture {
protected:
    TestingDevice() : former(std::filesystem::current_path()) {
        std::filesystem::current_path(folder.path());
    }
    ~TestingDevice() override { std::filesystem::current_path(former); }
    TestingDevice(const TestingDevice&) = delete;
    TestingDevice& operator=(const TestingDevice&) = delete;

    std::filesystem::path former;
};

constexpr const char* noNetwork = "a network namespace with a veth pair cannot be made here: it "
                                  "needs root and the ip tool";

TEST_F(TestingDevice, IsNotReachedFromAnotherMachineWithoutTheMarker) {
    const OtherMachine machine;
    if (!machine.isThere()) {
        GTEST_SKIP() << noNetwork;
    }
    start();

    EXPECT_EQ(machine.get(port, "/kel/v1/health"), std::nullopt);
    EXPECT_EQ(get("/kel/v1/health").status, 200);
}

TEST_F(TestingDevice, IsReachedFromAnotherMachineWithTheMarker) {
    const OtherMachine machine;
    if (!machine.isThere()) {
        GTEST_SKIP() << noNetwork;
    }
    folder.write(".testing.device", "");
    start();

    EXPECT_THAT(machine.get(port, "/kel/v1/health").value_or("refused"), HasSubstr("200 OK"));
    EXPECT_EQ(get("/kel/v1/health").status, 200);
}

TEST_F(TestingDevice, SaysThatItListensOnAllInterfaces) {
    folder.write(".testing.device", "");
    start();

    EXPECT_EQ(printed(), "REST API Listening in http://0.0.0.0:" + std::to_string(port) + "\n");
}

TEST_F(TestingDevice, TakesNoFolderForTheMarker) {
    std::filesystem::create_directory(".testing.device");
    start();

    EXPECT_EQ(printed(), "REST API Listening in " + url + "\n");
}

} // namespace

} // namespace Quarlen::Tests
