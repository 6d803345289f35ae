#pragma once

#include <filesystem>
#include <iosfwd>
#include <memory>
#include <mutex>

#include "kel_cpp/TraceSwitch.hpp"
#include "kel_cpp/settings/RuntimeSettings.hpp"

namespace Quarlen::Kel_cpp {

/// Holds the runtime's settings in two states: the written settings, which the getters return, and
/// the settings in effect, which a commit replaces. A record whose commit has failed is not in
/// effect, so until somebody writes another one the getters return what is. Another commit tries
/// that record again. Safe from any thread; all records that come in or go out are copies.
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

    /// Save the written settings in the settings file, then put them into effect. Throw
    /// `KelApiException` (code Configuration), also before `load`, because the file would be
    /// overwritten; nothing is in effect then that was not before, and the file is as it was.
    void commitServerSettings();
    void commitPaths();
    void commitInterfaces();

private:
    /// What has become of a written record.
    enum class Record { Shown, BeingSaved, Refused };

    void requireLoaded() const;
    template <class Body>
    void save(Record& record, const Body& body);
    TraceSwitch::Prepared preparedTracing(bool enabled, const PathSettings& paths, int level) const;
    bool tryTracing(bool enabled, const PathSettings& paths, int level);
    void showTracing(bool enabled);
    [[nodiscard]] const RuntimeSettings& shown(Record record) const;

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
    Record serverRecord = Record::Shown;
    Record pathRecord = Record::Shown;
    Record interfaceRecord = Record::Shown;
};

} // namespace Quarlen::Kel_cpp
