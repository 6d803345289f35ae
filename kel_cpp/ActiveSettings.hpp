#pragma once

#include <filesystem>
#include <iosfwd>
#include <memory>
#include <mutex>

#include "kel_cpp/TraceSwitch.hpp"
#include "kel_cpp/settings/RuntimeSettings.hpp"

namespace Quarlen::Kel_cpp {

/// The runtime's settings in their two states: as they were written last, which is what is read
/// back, and as they are in effect since the last commit. Safe from any thread; all records that
/// come in or go out are copies.
///
/// Tracing is one switch that two records show. A commit of either puts its flag into effect and
/// makes the other one show the same.
class ActiveSettings {
public:
    /// `errorOutput` must outlive the settings.
    ActiveSettings(std::filesystem::path configFolder, std::ostream& errorOutput);

    /// Reads the settings file and puts all of it into effect. Tracing that the file switches on
    /// and that cannot be written is off then, which is said on the error output. Throws
    /// `KelApiException` (code Configuration); nothing has changed then.
    void load();

    [[nodiscard]] RuntimeSettings inEffect() const;

    [[nodiscard]] std::shared_ptr<ServerConfiguration> serverConfiguration() const;
    [[nodiscard]] std::shared_ptr<ServerSettings> serverSettings() const;
    [[nodiscard]] std::shared_ptr<PathSettings> paths() const;
    [[nodiscard]] std::shared_ptr<InterfaceSettings> interfaces() const;

    /// They throw `KelApiException` (code Configuration) for a null pointer and for an empty path.
    /// A relative path is meant relative to the configuration folder.
    void write(const std::shared_ptr<ServerSettings>& record);
    void write(const std::shared_ptr<PathSettings>& record);
    void write(const std::shared_ptr<InterfaceSettings>& record);

    /// Put what was written into effect, then keep it in the settings file. Throw `KelApiException`
    /// (code Configuration); also before `load`, since the file would be lost.
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
    /// Held for a whole load or commit: one after the other. Taken before `mutex`.
    std::mutex commitMutex;
    SettingsFile file;
    TraceSwitch traces;

    mutable std::mutex mutex;
    bool loaded = false;
    RuntimeSettings effective;
    /// Shared records below it are never changed, only exchanged.
    RuntimeSettings written;
};

} // namespace Quarlen::Kel_cpp
