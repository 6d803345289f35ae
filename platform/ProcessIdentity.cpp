#include "platform/ProcessIdentity.hpp"

#include <charconv>
#include <cstdint>
#include <optional>

#include "platform/NameHash.hpp"
#include "platform/ProcessStart.hpp"

namespace Quarlen::Platform {
namespace {

struct Parts {
    std::string_view machine;
    std::uint32_t process = 0;
    std::string_view start;
};

/// "machine", "p", the process's number, "s" and when it started.
std::optional<Parts> partsOf(std::string_view identity) {
    const auto number = identity.find('p');
    const auto start = identity.find('s');
    if (start == std::string_view::npos || number >= start) {
        return std::nullopt;
    }
    Parts parts{identity.substr(0, number), 0, identity.substr(start + 1)};
    const char* const end = identity.data() + start;
    const auto [rest, failure] = std::from_chars(identity.data() + number + 1, end, parts.process);
    return failure == std::errc() && rest == end ? std::optional(parts) : std::nullopt;
}

std::string machine() {
    return nameHash(machineName());
}

} // namespace

std::string processIdentity() {
    const std::uint32_t number = ownProcess();
    return machine() + "p" + std::to_string(number) + "s" + startOf(number).time;
}

bool hasEnded(std::string_view identity) {
    const auto parts = partsOf(identity);
    if (!parts || parts->machine != machine()) {
        return false;
    }
    const ProcessStart start = startOf(parts->process);
    return !start.runs || (!start.time.empty() && start.time != parts->start);
}

} // namespace Quarlen::Platform
