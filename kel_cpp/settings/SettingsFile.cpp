#include <functional>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "kel_cpp/base/RuntimeError.hpp"
#include "kel_cpp/settings/RuntimeSettings.hpp"
#include "kel_cpp/settings/SettingsReader.hpp"
#include "platform/AtomicFile.hpp"
#include "platform/FileActions.hpp"
#include "platform/FileFacts.hpp"
#include "platform/Paths.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "platform/UnfinishedFiles.hpp"
#include "std_util/TraceHelper.hpp"
#include "xml/Editor.hpp"

namespace Quarlen::Kel_cpp {

namespace {

constexpr const char* emptyFile =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<KelServer>\n</KelServer>\n";

std::filesystem::path settingsFile(const std::filesystem::path& folder) {
    return folder / "KelServer.xml";
}

/// Returns nothing when the file does not exist; any other fault is found by the read.
std::optional<std::string> loadIfPresent(const std::filesystem::path& file) {
    std::error_code error;
    if (Platform::fileFacts(file, error).kind == Platform::FileKind::Missing) {
        return std::nullopt;
    }
    return Xml::Source::load(file, SettingsReader::limits);
}

void store(const std::filesystem::path& file, const std::string& text) {
    try {
        Platform::createFolders(file.parent_path());
        Platform::replaceFile(file, text);
    } catch (const std::system_error& error) {
        throw runtimeError(ErrorCode::Configuration, Platform::fromPath(file) +
                                                         L": cannot be written: " +
                                                         Platform::errorText(error.code()));
    }
}

/// The new content of the file. Only changed values are edited, so that spellings are kept.
class Rewrite {
public:
    explicit Rewrite(const std::filesystem::path& configFolder)
        : folder(configFolder),
          original(loadIfPresent(settingsFile(folder))),
          editor(settingsFile(folder), original.value_or(emptyFile), SettingsReader::rootElement,
                 SettingsReader::limits),
          settings(SettingsReader::read(editor.file(), folder)) {}

    void tracing(bool enabled) {
        if (settings.paths.tracing != enabled) {
            editor.setAttribute({{"Tracing"}}, "enabled", flagText(enabled));
        }
    }

    void text(const Xml::ElementPath& element, const std::wstring& before,
              const std::wstring& value) {
        if (before != value) {
            editor.setText(element, value);
        }
    }

    void path(const Xml::ElementPath& element, const std::wstring& before,
              const std::wstring& value) {
        const auto resolved = Platform::fromPath(SettingsReader::resolve(folder, value));
        text(element, before, resolved == before ? before : value);
    }

    void interfaces(const InterfaceSettings& wanted) {
        const auto& before = settings.interfaces;
        const bool sameNames = namesOf(before) == namesOf(wanted);
        if (sameNames && flagsOf(before) == flagsOf(wanted)) {
            return;
        }
        const auto section = editor.file().root().child("Interfaces");
        if (section && sameNames) {
            switchInterfaces(section, before, wanted);
        } else {
            editor.setChildren({{"Interfaces"}}, elementsOf(wanted));
        }
    }

    [[nodiscard]] const RuntimeSettings& before() const { return settings; }

    void finish() {
        const auto& file = editor.file();
        const auto& text = file.source().text();
        if (text == original.value_or(emptyFile)) {
            return;
        }
        (void)SettingsReader::read(file, folder);
        store(settingsFile(folder), text);
    }

private:
    /// Of each group: its interfaces with their parameters.
    using Interface = std::pair<std::wstring, std::vector<InterfaceEntry::Parameter>>;
    using Names = std::vector<std::pair<std::wstring, std::vector<Interface>>>;

    static Names namesOf(const InterfaceSettings& record) {
        Names names;
        for (const auto& group : record.groups) {
            names.emplace_back(group->name, std::vector<Interface>());
            for (const auto& entry : group->interfaces) {
                names.back().second.emplace_back(entry->name, entry->parameters);
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

    static std::vector<Xml::NewElement> elementsOf(const InterfaceSettings& record) {
        std::vector<Xml::NewElement> groups;
        for (const auto& group : record.groups) {
            auto& element =
                groups.emplace_back(Xml::NewElement{"Group", {{"name", group->name}}, {}});
            for (const auto& entry : group->interfaces) {
                element.children.push_back(elementOf(*entry));
            }
        }
        return groups;
    }

    static Xml::NewElement elementOf(const InterfaceEntry& entry) {
        Xml::NewElement element{
            "Interface", {{"name", entry.name}, {"enabled", flagText(entry.enabled)}}, {}};
        for (const auto& [name, value] : entry.parameters) {
            element.attributes.emplace_back(Platform::toUtf8(name), value);
        }
        return element;
    }

    static std::wstring flagText(bool flag) { return flag ? L"true" : L"false"; }

    /// `before` was read from the section, so its elements match the entries of both records by
    /// index.
    void switchInterfaces(const pugi::xml_node& section, const InterfaceSettings& before,
                          const InterfaceSettings& wanted) {
        auto group = section.child("Group");
        for (std::size_t index = 0; index < wanted.groups.size(); ++index) {
            switchInterfaces(group, *before.groups[index], *wanted.groups[index]);
            group = group.next_sibling("Group");
        }
    }

    void switchInterfaces(const pugi::xml_node& group, const InterfaceGroup& before,
                          const InterfaceGroup& wanted) {
        auto element = group.child("Interface");
        for (std::size_t index = 0; index < wanted.interfaces.size(); ++index) {
            const bool enabled = wanted.interfaces[index]->enabled;
            if (before.interfaces[index]->enabled != enabled) {
                editor.setAttribute(element, "enabled", flagText(enabled));
            }
            element = element.next_sibling("Interface");
        }
    }

    std::filesystem::path folder;
    std::optional<std::string> original;
    Xml::Editor editor;
    RuntimeSettings settings;
};

/// Converts an `Xml::FileError` into a `KelApiException`.
void rewriteFile(const std::filesystem::path& folder,
                 const std::function<void(Rewrite& rewrite)>& change) {
    withFileErrors([&] {
        Rewrite rewrite(folder);
        change(rewrite);
        rewrite.finish();
    });
}

std::filesystem::path absoluteFolder(const std::filesystem::path& folder) {
    std::error_code error;
    const auto absolute = Platform::absolutePath(folder, error);
    return error ? folder : absolute;
}

} // namespace

SettingsFile::SettingsFile(const std::filesystem::path& configFolder)
    : folder(absoluteFolder(configFolder)) {}

bool SettingsFile::isThere() const {
    std::error_code unreadable;
    return Platform::fileFacts(settingsFile(folder), unreadable).kind !=
           Platform::FileKind::Missing;
}

std::wstring SettingsFile::name() const {
    return Platform::fromPath(settingsFile(folder));
}

void SettingsFile::recover() const noexcept {
    Platform::settleUnfinishedFiles(settingsFile(folder));
}

RuntimeSettings SettingsFile::read() const {
    const auto file = settingsFile(folder);
    return withFileErrors([&] {
        auto text = loadIfPresent(file);
        if (!text) {
            StdUtil::TraceHelper::ErrorTrace(
                L"kel_cpp/settings/SettingsFile", __LINE__,
                L"there is no configuration file %s, defaults are used",
                Platform::fromPath(file).c_str());
            return SettingsReader::defaults(folder);
        }
        return SettingsReader::read(
            Xml::File(file, std::move(*text), SettingsReader::rootElement, SettingsReader::limits),
            folder);
    });
}

void SettingsFile::writeServerSettings(const ServerSettings& settings) {
    rewriteFile(folder, [&](Rewrite& rewrite) {
        const auto& before = rewrite.before().serverSettings;
        rewrite.text({{"BrokerUrl"}}, before.brokerUrl, settings.brokerUrl);
        rewrite.path({{"BrokerUrlFile"}}, before.brokerUrlFile, settings.brokerUrlFile);
        rewrite.tracing(settings.optionTracing);
    });
}

void SettingsFile::writePaths(const PathSettings& paths) {
    rewriteFile(folder, [&](Rewrite& rewrite) {
        const auto& before = rewrite.before().paths;
        rewrite.path({{"Paths"}, {"Projects"}}, before.projectsPath, paths.projectsPath);
        rewrite.path({{"Paths"}, {"Traces"}}, before.tracesPath, paths.tracesPath);
        rewrite.path({{"Paths"}, {"Reports"}}, before.reportsPath, paths.reportsPath);
        rewrite.tracing(paths.tracing);
    });
}

void SettingsFile::writeInterfaces(const InterfaceSettings& interfaces) {
    rewriteFile(folder, [&](Rewrite& rewrite) { rewrite.interfaces(*deepCopy(interfaces)); });
}

} // namespace Quarlen::Kel_cpp
