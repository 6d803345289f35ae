#include "tests/kel_server_lib/rest/OtherMachine.hpp"

#include <cstdlib>
#include <fcntl.h>
#include <sched.h>
#include <system_error>
#include <thread>
#include <unistd.h>

#include "tests/support/RawClient.hpp"

namespace Quarlen::Tests {

namespace {

bool run(const std::string& command) {
    return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

std::string networkName() {
    return "kel" + std::to_string(::getpid());
}

/// A network of its own with a cable to this machine. Needs root and the "ip" tool.
bool makeNetwork(const std::string& name, const std::string& own, const std::string& other) {
    return run("ip netns add " + name) &&
           run("ip link add " + name + "a type veth peer name " + name + "b netns " + name) &&
           run("ip addr add " + own + "/30 dev " + name + "a") &&
           run("ip link set " + name + "a up") &&
           run("ip -n " + name + " addr add " + other + "/30 dev " + name + "b") &&
           run("ip -n " + name + " link set " + name + "b up");
}

std::optional<std::string> getFromHere(const std::string& address, std::uint16_t port,
                                       const std::string& path) {
    try {
        RawClient client(port, address);
        client.send("GET " + path + " HTTP/1.1\r\nHost: x\r\n\r\n");
        return client.receiveReply();
    } catch (const std::system_error&) {
        return std::nullopt;
    }
}

} // namespace

OtherMachine::OtherMachine() {
    const std::string subnet = "10.231." + std::to_string(::getpid() % 250);
    address = subnet + ".1";
    if (!makeNetwork(networkName(), address, subnet + ".2")) {
        reason = "a network namespace with a veth pair cannot be made here: it needs root and the "
                 "ip tool";
    }
}

OtherMachine::~OtherMachine() {
    run("ip link del " + networkName() + "a");
    run("ip netns del " + networkName());
}

std::optional<std::string> OtherMachine::get(std::uint16_t port, const std::string& path) const {
    std::optional<std::string> reply;
    // Only the calling thread moves into the other network.
    std::thread([&] {
        const int network = ::open(("/run/netns/" + networkName()).c_str(), O_RDONLY | O_CLOEXEC);
        if (::setns(network, CLONE_NEWNET) == 0) {
            reply = getFromHere(address, port, path);
        }
        ::close(network);
    }).join();
    return reply;
}

} // namespace Quarlen::Tests
