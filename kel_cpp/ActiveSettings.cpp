#include "kel_cpp/ActiveSettings.hpp"

#include <ostream>
#include <string>
#include <utility>

#include "kel_cpp/base/PathFault.hpp"
#include "kel_cpp/base/RuntimeError.hpp"
#include "platform/Paths.hpp"
#include "platform/TextEncoding.hpp"

namespace Quarlen::Kel_cpp {

namespace {

KelApiException wrongSettings(const std::wstring& message) {
    return runtimeError(ErrorCode::Configuration, message);
}

template <class RecordType>
const RecordType& required(const std::shared_ptr<RecordType>& record, const wchar_t* name) {
    if (!record) {
        throw wrongSettings(L"the record of the " + std::wstring(name) + L" is missing");
    }
    return *record;
}

/// `name` names the path in the message.
void makeAbsolute(std::wstring& text, const std::filesystem::path& folder, const wchar_t* name) {
    const std::filesystem::path path = Platform::toPath(text);
    if (path.empty()) {
        throw wrongSettings(L"the " + std::wstring(name) + L" path " + pathFault(text));
    }
    text = Platform::fromPath(Platform::normalPath(Platform::joinedPath(folder, path)));
}

} // namespace

ActiveSettings::ActiveSettings(std::filesystem::path configFolder, std::ostream& errorOutput)
    : folder(std::move(configFolder)), errorOutput(errorOutput), file(folder) {}

void ActiveSettings::load() {
    const std::lock_guard commitLock(commitMutex);
    file.recover();
    if (!file.isThere()) {
        // Without a settings file there is no trace file, so the error output gets the message.
        errorOutput << "There is no configuration file " + Platform::toUtf8(file.name()) +
                           ", defaults are used\n"
                    << std::flush;
    }
    RuntimeSettings read = file.read();
    const bool tracing = read.paths.tracing || read.serverSettings.optionTracing;
    const bool traced = tryTracing(tracing, read.paths, read.traceLevel);
    const std::lock_guard lock(mutex);
    written = read;
    effective = std::move(read);
    serverRecord = pathRecord = interfaceRecord = Record::Shown;
    showTracing(traced);
    loaded = true;
}

RuntimeSettings ActiveSettings::inEffect() const {
    const std::lock_guard lock(mutex);
    return effective;
}

std::shared_ptr<ServerConfiguration> ActiveSettings::serverConfiguration() const {
    const std::lock_guard lock(mutex);
    return deepCopy(effective.serverConfiguration);
}

std::shared_ptr<ServerSettings> ActiveSettings::serverSettings() const {
    const std::lock_guard lock(mutex);
    return std::make_shared<ServerSettings>(shown(serverRecord).serverSettings);
}

std::shared_ptr<PathSettings> ActiveSettings::paths() const {
    const std::lock_guard lock(mutex);
    return std::make_shared<PathSettings>(shown(pathRecord).paths);
}

std::shared_ptr<InterfaceSettings> ActiveSettings::interfaces() const {
    const std::lock_guard lock(mutex);
    return deepCopy(shown(interfaceRecord).interfaces);
}

void ActiveSettings::write(const std::shared_ptr<ServerSettings>& record) {
    const ServerSettings copy = required(record, L"server settings");
    const std::lock_guard lock(mutex);
    written.serverSettings = copy;
    serverRecord = Record::Shown;
}

void ActiveSettings::write(const std::shared_ptr<PathSettings>& record) {
    PathSettings copy = required(record, L"path settings");
    makeAbsolute(copy.projectsPath, folder, L"projects");
    makeAbsolute(copy.tracesPath, folder, L"traces");
    makeAbsolute(copy.reportsPath, folder, L"reports");
    const std::lock_guard lock(mutex);
    written.paths = std::move(copy);
    pathRecord = Record::Shown;
}

void ActiveSettings::write(const std::shared_ptr<InterfaceSettings>& record) {
    const auto copy = deepCopy(required(record, L"interface settings"));
    const std::lock_guard lock(mutex);
    written.interfaces = *copy;
    interfaceRecord = Record::Shown;
}

void ActiveSettings::commitServerSettings() {
    save(serverRecord, [this](const RuntimeSettings& wanted, const RuntimeSettings& before) {
        const ServerSettings& record = wanted.serverSettings;
        auto tracing = preparedTracing(record.optionTracing, before.paths, before.traceLevel);
        file.writeServerSettings(record);
        traces.enter(std::move(tracing));
        const std::lock_guard lock(mutex);
        effective.serverSettings = record;
        showTracing(record.optionTracing);
    });
}

void ActiveSettings::commitPaths() {
    save(pathRecord, [this](const RuntimeSettings& wanted, const RuntimeSettings& before) {
        const PathSettings& record = wanted.paths;
        auto tracing = preparedTracing(record.tracing, record, before.traceLevel);
        file.writePaths(record);
        traces.enter(std::move(tracing));
        const std::lock_guard lock(mutex);
        effective.paths = record;
        showTracing(record.tracing);
    });
}

void ActiveSettings::commitInterfaces() {
    save(interfaceRecord, [this](const RuntimeSettings& wanted, const RuntimeSettings& /*before*/) {
        file.writeInterfaces(wanted.interfaces);
        const std::lock_guard lock(mutex);
        effective.interfaces = wanted.interfaces;
    });
}

/// The body takes the written settings and those in effect. A record that somebody writes meanwhile
/// has not been refused with the one that is being saved.
template <class Body>
void ActiveSettings::save(Record& record, const Body& body) {
    const std::lock_guard commitLock(commitMutex);
    requireLoaded();
    RuntimeSettings wanted;
    RuntimeSettings before;
    {
        const std::lock_guard lock(mutex);
        record = Record::BeingSaved;
        wanted = written;
        before = effective;
    }
    try {
        body(wanted, before);
    } catch (...) {
        const std::lock_guard lock(mutex);
        record = record == Record::BeingSaved ? Record::Refused : record;
        throw;
    }
}

/// The caller holds `mutex`.
const RuntimeSettings& ActiveSettings::shown(Record record) const {
    return record == Record::Refused ? effective : written;
}

void ActiveSettings::requireLoaded() const {
    const std::lock_guard lock(mutex);
    if (!loaded) {
        throw wrongSettings(L"the runtime has not been initialised");
    }
}

TraceSwitch::Prepared ActiveSettings::preparedTracing(bool enabled, const PathSettings& paths,
                                                      int level) const {
    return enabled ? traces.prepareOn(Platform::toPath(paths.tracesPath), level)
                   : TraceSwitch::Prepared();
}

/// Returns whether tracing is on now. A trace file that cannot be written does not prevent the
/// start; the error output names it once.
bool ActiveSettings::tryTracing(bool enabled, const PathSettings& paths, int level) {
    try {
        traces.enter(preparedTracing(enabled, paths, level));
        return enabled;
    } catch (const KelApiException& exception) {
        traces.turnOff();
        errorOutput << "Tracing is off: " + Platform::toUtf8(exception.message()) + "\n"
                    << std::flush;
        return false;
    }
}

/// The caller holds `mutex`.
void ActiveSettings::showTracing(bool enabled) {
    for (RuntimeSettings* settings : {&effective, &written}) {
        settings->serverSettings.optionTracing = enabled;
        settings->paths.tracing = enabled;
        settings->paths.tracingSecondary = enabled;
    }
}

} // namespace Quarlen::Kel_cpp
