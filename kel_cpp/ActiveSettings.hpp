#pragma once

#include <filesystem>
#include <iosfwd>
#include <memory>
#include <mutex>

#include "kel_cpp/TraceSwitch.hpp"
#include "kel_cpp/settings/RuntimeSettings.hpp"

namespace Quarlen::Kel_cpp {

/// Holds the runtime's settings in two states: the written settings, which the getters return, and
/// the settings in effect, which a commit replaces. Safe from any thread; all records that come in
/// or go out are copies.
///
/// Tracing is one switch that two records show. A commit of either record puts its flag into effect
/// and copies it to the other record.
class ActiveSettings {
public:
    /// `errorOutput` must outlive the settings.
    ActiveSettings(std::filesystem::path configFolder, std::ostream& errorOutput);

    /// Reads the settings file and puts all of it into effect. If the trace file cannot be written,
    /// tracing is off and the error output says so. Throws `KelApiException` (code Configuration);
    /// nothing has changed then.
    void load();

    [[nodiscard]] RuntimeSettings inEffect() const;

    [[nodiscard]] std::shared_ptr<ServerConfiguration> serverConfiguration() const;
    [[nodiscard]] std::shared_ptr<ServerSettings> serverSettings() const;
    [[nodiscard]] std::shared_ptr<PathSettings> paths() const;
    [[nodiscard]] std::shared_ptr<InterfaceSettings> interfaces() const;

    /// Throw `KelApiException` (code Configuration) for a null pointer and for an empty path. A
    /// relative path is relative to the configuration folder.
    void write(const std::shared_ptr<ServerSettings>& record);
    void write(const std::shared_ptr<PathSettings>& record);
    void write(const std::shared_ptr<InterfaceSettings>& record);

    /// Put the written settings into effect, then save them in the settings file. Throw
    /// `KelApiException` (code Configuration), also before `load`, because the file would be
    /// overwritten.
    void commitServerSettings();
    void commitPaths();
    void commitInterfaces();

private:
    void requireLoaded() const;
    bool tryTracing(bool enabled, const PathSettings& paths, int level);
    void applyTracing(bool enabled, const PathSettings& paths, int level);
    void showTracing(bool enabled);

    const std::filesystem::path folder;
    std::ostream& errorOutput;
    /// Serializes load and commits: held for the whole operation and taken before `mutex`.
    std::mutex commitMutex;
    SettingsFile file;
    TraceSwitch traces;

    mutable std::mutex mutex;
    bool loaded = false;
    RuntimeSettings effective;
    /// The shared records inside are never changed, only replaced.
    RuntimeSettings written;
};

} // namespace Quarlen::Kel_cpp
