#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace Quarlen::Tests {

/// Another machine as the server sees it: a client whose requests do not come over the loopback
/// interface.
class OtherMachine {
public:
    OtherMachine();
    OtherMachine(const OtherMachine&) = delete;
    OtherMachine& operator=(const OtherMachine&) = delete;
    ~OtherMachine();

    /// Empty when there is one, else why not.
    [[nodiscard]] const std::string& missing() const { return reason; }
    /// The reply to a GET that is sent from there; nothing when this machine refuses to connect.
    [[nodiscard]] std::optional<std::string> get(std::uint16_t port, const std::string& path) const;

private:
    /// This machine's address over there.
    std::string address;
    std::string reason;
};

} // namespace Quarlen::Tests
