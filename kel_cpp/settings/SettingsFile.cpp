#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "kel_cpp/RuntimeError.hpp"
#include "kel_cpp/settings/RuntimeSettings.hpp"
#include "kel_cpp/settings/SettingsReader.hpp"
#include "kel_cpp/settings/XmlEditing.hpp"
#include "platform/AtomicFile.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "std_util/TraceHelper.hpp"

namespace Quarlen::Kel_cpp {

namespace {

constexpr const char* emptyFile =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<KelServer>\n</KelServer>\n";

std::filesystem::path settingsFile(const std::filesystem::path& folder) {
    return folder / "KelServer.xml";
}

/// Nothing when there is no such file; what cannot be found out is left to the reading.
std::optional<std::string> loadIfPresent(const std::filesystem::path& file) {
    std::error_code error;
    if (std::filesystem::status(file, error).type() == std::filesystem::file_type::not_found) {
        return std::nullopt;
    }
    return XmlSource::load(file);
}

void store(const std::filesystem::path& file, const std::string& text) {
    try {
        std::filesystem::create_directories(file.parent_path());
        Platform::replaceFile(file, text);
    } catch (const std::system_error& error) {
        throw runtimeError(ErrorCode::Configuration, Platform::fromPath(file) +
                                                         L": cannot be written: " +
                                                         Platform::errorText(error.code()));
    }
}

/// The file in the making. Only what has changed is touched, so that spellings are kept.
class Rewrite {
public:
    explicit Rewrite(const std::filesystem::path& configFolder)
        : folder(configFolder),
          original(loadIfPresent(settingsFile(folder))),
          editor(settingsFile(folder), original.value_or(emptyFile), SettingsReader::rootElement),
          settings(SettingsReader::read(editor.file(), folder)) {}

    void tracing(bool enabled) {
        if (settings.paths.tracing != enabled) {
            editor.setAttribute({{"Tracing"}}, "enabled", enabled ? L"true" : L"false");
        }
    }

    void text(const ElementPath& element, const std::wstring& before, const std::wstring& value) {
        if (before != value) {
            editor.setText(element, value);
        }
    }

    void path(const ElementPath& element, const std::wstring& before, const std::wstring& value) {
        const auto resolved = Platform::fromPath(SettingsReader::resolve(folder, value));
        text(element, before, resolved == before ? before : value);
    }

    void interfaces(const InterfaceSettings& wanted) {
        const auto& before = settings.interfaces;
        const bool sameNames = namesOf(before) == namesOf(wanted);
        if (sameNames && flagsOf(before) == flagsOf(wanted)) {
            return;
        }
        const bool present = !editor.file().root().child("Interfaces").empty();
        const bool keepsElements = present && sameNames;
        if (!keepsElements) {
            editor.clear({{"Interfaces"}});
        }
        for (std::size_t group = 0; group < wanted.groups.size(); ++group) {
            interfaceGroup(group, *wanted.groups[group],
                           keepsElements ? before.groups[group].get() : nullptr);
        }
    }

    [[nodiscard]] const RuntimeSettings& before() const { return settings; }

    void finish() {
        const auto& text = editor.file().source().text();
        if (text == original.value_or(emptyFile)) {
            return;
        }
        (void)SettingsReader::read(editor.file(), folder);
        store(settingsFile(folder), text);
    }

private:
    using Names = std::vector<std::pair<std::wstring, std::vector<std::wstring>>>;

    static Names namesOf(const InterfaceSettings& record) {
        Names names;
        for (const auto& group : record.groups) {
            names.emplace_back(group->name, std::vector<std::wstring>());
            for (const auto& entry : group->interfaces) {
                names.back().second.push_back(entry->name);
            }
        }
        return names;
    }

    static std::vector<bool> flagsOf(const InterfaceSettings& record) {
        std::vector<bool> flags;
        for (const auto& group : record.groups) {
            for (const auto& entry : group->interfaces) {
                flags.push_back(entry->enabled);
            }
        }
        return flags;
    }

    void interfaceGroup(std::size_t index, const InterfaceGroup& wanted,
                        const InterfaceGroup* present) {
        const ElementPath group{{"Interfaces"}, {"Group", index}};
        if (!present) {
            editor.setAttribute(group, "name", wanted.name);
        }
        for (std::size_t entry = 0; entry < wanted.interfaces.size(); ++entry) {
            interfaceEntry({group[0], group[1], {"Interface", entry}}, *wanted.interfaces[entry],
                           present ? present->interfaces[entry].get() : nullptr);
        }
    }

    void interfaceEntry(const ElementPath& element, const InterfaceEntry& wanted,
                        const InterfaceEntry* present) {
        if (present && present->enabled == wanted.enabled) {
            return;
        }
        if (!present) {
            editor.setAttribute(element, "name", wanted.name);
        }
        editor.setAttribute(element, "enabled", wanted.enabled ? L"true" : L"false");
    }

    std::filesystem::path folder;
    std::optional<std::string> original;
    XmlEditor editor;
    RuntimeSettings settings;
};

std::filesystem::path absoluteFolder(const std::filesystem::path& folder) {
    std::error_code error;
    const auto absolute = std::filesystem::absolute(folder, error);
    return error ? folder : absolute;
}

} // namespace

SettingsFile::SettingsFile(const std::filesystem::path& configFolder)
    : folder(absoluteFolder(configFolder)) {}

RuntimeSettings SettingsFile::read() const {
    const auto file = settingsFile(folder);
    auto text = loadIfPresent(file);
    if (!text) {
        StdUtil::TraceHelper::ErrorTrace(L"kel_cpp/settings/SettingsFile", __LINE__,
                                         L"there is no configuration file %s, defaults are used",
                                         Platform::fromPath(file).c_str());
        return SettingsReader::defaults(folder);
    }
    return SettingsReader::read(XmlFile(file, std::move(*text), SettingsReader::rootElement),
                                folder);
}

void SettingsFile::writeServerSettings(const ServerSettings& settings) {
    Rewrite rewrite(folder);
    const auto& before = rewrite.before().serverSettings;
    rewrite.text({{"BrokerUrl"}}, before.brokerUrl, settings.brokerUrl);
    rewrite.path({{"BrokerUrlFile"}}, before.brokerUrlFile, settings.brokerUrlFile);
    rewrite.tracing(settings.optionTracing);
    rewrite.finish();
}

void SettingsFile::writePaths(const PathSettings& paths) {
    Rewrite rewrite(folder);
    const auto& before = rewrite.before().paths;
    rewrite.path({{"Paths"}, {"Projects"}}, before.projectsPath, paths.projectsPath);
    rewrite.path({{"Paths"}, {"Traces"}}, before.tracesPath, paths.tracesPath);
    rewrite.path({{"Paths"}, {"Reports"}}, before.reportsPath, paths.reportsPath);
    rewrite.tracing(paths.tracing);
    rewrite.finish();
}

void SettingsFile::writeInterfaces(const InterfaceSettings& interfaces) {
    Rewrite rewrite(folder);
    rewrite.interfaces(*deepCopy(interfaces));
    rewrite.finish();
}

} // namespace Quarlen::Kel_cpp
