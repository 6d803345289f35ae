#pragma once

#include <cstdint>
#include <filesystem>

#include "kel_cpp/base/ClientLimits.hpp"
#include "kel_server_lib/runtime/SettingsRecords.hpp"

namespace Quarlen::Kel_cpp {

/// The settings come from KelServer.xml. `SettingsReader` converts the XML elements into a
/// `RuntimeSettings` value; `SettingsFile` reads the file and writes single groups of settings back
/// into it. `ActiveSettings` owns the runtime's `SettingsFile`, keeps the values in memory and
/// serializes the callers, because nothing here is thread-safe.
///
/// All settings of KelServer.xml, with defaults for missing ones. Paths are absolute.
struct RuntimeSettings {
    ServerConfiguration serverConfiguration;
    ServerSettings serverSettings;
    PathSettings paths;
    InterfaceSettings interfaces;
    std::filesystem::path dataFolder;
    std::filesystem::path vehicleFile;
    /// 0 nothing, 1 errors, 3 also information.
    int traceLevel = 3;
    /// With tracing: the messages to and from the vehicle go into a file of packets.
    bool capturesBus = false;
    std::uint16_t sovdPort = 0;
    ClientLimits clientLimits;
    /// Empty: only clients on this machine may use the server.
    std::filesystem::path tokenFile;
};

/// Copies a record with its nested shared records, so that callers and the runtime share none. Null
/// entries of the lists are left out.
std::shared_ptr<ServerConfiguration> deepCopy(const ServerConfiguration& record);
std::shared_ptr<InterfaceSettings> deepCopy(const InterfaceSettings& record);

/// KelServer.xml in one configuration folder. Not thread-safe.
class SettingsFile {
public:
    explicit SettingsFile(const std::filesystem::path& configFolder);

    [[nodiscard]] bool isThere() const;
    /// The file name with its folder.
    [[nodiscard]] std::wstring name() const;

    /// Cleans up behind a process that was killed while it wrote the file, which is there again
    /// afterwards.
    void recover() const noexcept;

    /// A missing file gives the defaults and an error trace. Throws `KelApiException` (code
    /// Configuration) that names file, line, column and what was expected.
    [[nodiscard]] RuntimeSettings read() const;

    /// Write back one group of settings, atomically, and keep every other byte of the file:
    /// comments, order, line ends, the relative spelling of paths that have not changed. A missing
    /// file is created; when nothing has changed nothing is written. Throw `KelApiException` (code
    /// Configuration), also when the file has become malformed; the file is then left unchanged.
    void writeServerSettings(const ServerSettings& settings);
    void writePaths(const PathSettings& paths);
    void writeInterfaces(const InterfaceSettings& interfaces);

private:
    std::filesystem::path folder;
};

} // namespace Quarlen::Kel_cpp
