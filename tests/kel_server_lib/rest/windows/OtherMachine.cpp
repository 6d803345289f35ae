#include "tests/kel_server_lib/rest/OtherMachine.hpp"

#include <system_error>

#include "platform/NetworkAdapters.hpp"
#include "platform/TextEncoding.hpp"
#include "tests/support/RawClient.hpp"

namespace Quarlen::Tests {

/// This machine itself, through the address that it has in its network: what listens on the
/// loopback interface alone cannot be reached there either.
OtherMachine::OtherMachine() : reason("this machine has no adapter with an address that is up") {
    for (const Platform::NetworkAdapter& adapter : Platform::networkAdapters()) {
        if (adapter.up && adapter.hardwareAddressLength > 0 && !adapter.firstIpv4Address.empty()) {
            address = Platform::toUtf8(adapter.firstIpv4Address);
            reason.clear();
        }
    }
}

OtherMachine::~OtherMachine() = default;

std::optional<std::string> OtherMachine::get(std::uint16_t port, const std::string& path) const {
    try {
        RawClient client(port, address);
        client.send("GET " + path + " HTTP/1.1\r\nHost: x\r\n\r\n");
        return client.receiveReply();
    } catch (const std::system_error&) {
        return std::nullopt;
    }
}

} // namespace Quarlen::Tests
