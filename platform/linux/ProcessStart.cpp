#include "platform/ProcessStart.hpp"

#include <array>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <sstream>
#include <unistd.h>

#include "platform/NameHash.hpp"

namespace Quarlen::Platform {
namespace {

constexpr std::size_t hostNameSize = 256;
/// Of the fields behind the program's name in /proc/PID/stat (proc(5)): the twenty-second in all.
constexpr int fieldsBeforeStart = 19;

/// Ticks since the machine was started; empty when it cannot be read.
std::string ticksAtStart(std::uint32_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string line;
    std::getline(file, line);
    const auto nameEnd = line.rfind(')');
    std::istringstream fields(nameEnd == std::string::npos ? "" : line.substr(nameEnd + 1));
    std::string field;
    for (int skipped = 0; skipped < fieldsBeforeStart; ++skipped) {
        fields >> field;
    }
    std::string ticks;
    fields >> ticks;
    return ticks;
}

std::string thisBoot() {
    std::ifstream file("/proc/sys/kernel/random/boot_id");
    std::string identity;
    std::getline(file, identity);
    return nameHash(identity);
}

} // namespace

ProcessStart startOf(std::uint32_t process) {
    const auto number = static_cast<pid_t>(process);
    if (number <= 0 || (::kill(number, 0) != 0 && errno == ESRCH)) {
        return {};
    }
    const std::string ticks = ticksAtStart(process);
    return {true, ticks.empty() ? "" : thisBoot() + "b" + ticks};
}

std::uint32_t ownProcess() {
    return static_cast<std::uint32_t>(::getpid());
}

std::string machineName() {
    std::array<char, hostNameSize> name{};
    return ::gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

} // namespace Quarlen::Platform
