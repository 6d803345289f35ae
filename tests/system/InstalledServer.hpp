#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/LoopbackPort.hpp"
#include "tests/support/linux/Process.hpp"

namespace Quarlen::Tests {

/// Longer than the second that a stop takes at the most.
inline constexpr std::chrono::milliseconds longerThanAStop{1600};

/// What the program prints once it takes keys.
inline constexpr const char* prompt = "Enter 'q' and Enter to exit\n";

/// A copy of the built program in a folder of its own, with the folder "config" beside it, as
/// people install it. The folder is removed at the end.
class InstalledServer {
public:
    InstalledServer();
    InstalledServer(const InstalledServer&) = delete;
    InstalledServer& operator=(const InstalledServer&) = delete;
    ~InstalledServer();

    [[nodiscard]] std::filesystem::path program() const { return folder / "kel_server"; }
    [[nodiscard]] std::filesystem::path config() const { return folder / "config"; }

    /// Writes KelServer.xml with this content of its root element.
    void configure(const std::string& elements) const;
    /// With a port of its own for the SOVD server, which else has the same one in all programs.
    void configureSovd() const;
    void writeConfigFile(const std::string& name, const std::string& content) const;
    /// Empty when the file is not there.
    [[nodiscard]] std::string readConfigFile(const std::string& name) const;
    /// The example configuration that is delivered with the program, the flash files included.
    void useExampleConfig() const;

    [[nodiscard]] Process start(const std::vector<std::string>& arguments,
                                Stdio stdio = Stdio::Terminal) const;

private:
    std::filesystem::path folder;
};

} // namespace Quarlen::Tests
