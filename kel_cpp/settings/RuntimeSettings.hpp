#pragma once

#include <cstdint>
#include <filesystem>

#include "kel_server_lib/runtime/SettingsRecords.hpp"

namespace Quarlen::Kel_cpp {

/// Everything that KelServer.xml says, with defaults for what it does not say. Paths are absolute.
struct RuntimeSettings {
    ServerConfiguration serverConfiguration;
    ServerSettings serverSettings;
    PathSettings paths;
    InterfaceSettings interfaces;
    std::filesystem::path dataFolder;
    std::filesystem::path vehicleFile;
    /// 0 nothing, 1 errors, 3 also information.
    int traceLevel = 3;
    std::uint16_t sovdPort = 0;
};

/// A record whose nested shared records are copied, too, so that callers and runtime never share.
/// Null entries of the lists are left out.
std::shared_ptr<ServerConfiguration> deepCopy(const ServerConfiguration& record);
std::shared_ptr<InterfaceSettings> deepCopy(const InterfaceSettings& record);

/// KelServer.xml in one configuration folder. Not thread-safe.
class SettingsFile {
public:
    explicit SettingsFile(const std::filesystem::path& configFolder);

    [[nodiscard]] bool isThere() const;
    /// With its folder.
    [[nodiscard]] std::wstring name() const;

    /// A missing file gives the defaults and an error trace. Throws `KelApiException` (code
    /// Configuration) that names file, line, column and what was expected.
    [[nodiscard]] RuntimeSettings read() const;

    /// Write back one group of settings, atomically, and keep every other byte of the file:
    /// comments, order, line ends, the relative spelling of paths that have not changed. A missing
    /// file is created; when nothing has changed nothing is written. Throw `KelApiException` (code
    /// Configuration), also when the file has become malformed; then it is left as it is.
    void writeServerSettings(const ServerSettings& settings);
    void writePaths(const PathSettings& paths);
    void writeInterfaces(const InterfaceSettings& interfaces);

private:
    std::filesystem::path folder;
};

} // namespace Quarlen::Kel_cpp
