#include "tools/kelctl/support/LocalParts.hpp"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <initializer_list>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include <boost/algorithm/string/predicate.hpp>
#include <boost/regex.hpp>

#include "platform/FileFacts.hpp"
#include "platform/FolderListing.hpp"
#include "platform/OperatingSystem.hpp"
#include "platform/Paths.hpp"
#include "platform/StreamError.hpp"
#include "platform/SystemError.hpp"
#include "platform/SystemPaths.hpp"
#include "platform/TextEncoding.hpp"
#include "tools/kelctl/support/Secrets.hpp"

namespace Quarlen::Ctl {

namespace fs = std::filesystem;

namespace {

/// More nobody reads, and a bundle has to go into a mail.
constexpr std::uintmax_t maxPart = std::uintmax_t{8} * 1024 * 1024;
constexpr std::size_t maxFiles = 1000;
/// Projects have folders of their own; nothing of ours lies deeper.
constexpr std::size_t maxDepth = 16;

std::string textOf(const fs::path& path) {
    return Platform::toUtf8(Platform::fromPath(path));
}

/// Slashes on every system.
std::string nameIn(const std::string& folder, const fs::path& path) {
    std::string name = folder;
    for (const fs::path& part : path) {
        name += "/" + textOf(part);
    }
    return name;
}

/// Nothing where the file cannot be read; `failure` tells why.
std::optional<std::string> endOf(const fs::path& file, std::error_code& failure) {
    errno = 0;
    std::ifstream stream(Platform::openablePath(file), std::ios::binary);
    std::error_code unknown;
    const std::uint64_t size = Platform::fileFacts(file, unknown).size;
    if (size > maxPart) {
        stream.seekg(static_cast<std::streamoff>(size - maxPart));
    }
    // A file of the system has no size of its own, and a trace grows meanwhile.
    std::string content(static_cast<std::size_t>(maxPart), '\0');
    stream.read(content.data(), static_cast<std::streamsize>(content.size()));
    if (stream.bad() || !stream.is_open()) {
        failure = Platform::streamError();
        return {};
    }
    content.resize(static_cast<std::size_t>(stream.gcount()));
    return content;
}

bool hasEnding(const fs::path& file, std::initializer_list<std::string_view> endings) {
    const std::string ending = textOf(file.extension());
    return std::any_of(endings.begin(), endings.end(), [&](std::string_view each) {
        return boost::algorithm::iequals(each, ending);
    });
}

bool isBusTrace(const fs::path& file) {
    return hasEnding(file, {".pcapng"});
}

/// Files below a folder, in the order of their names.
struct Search {
    std::vector<fs::path> files{};
    std::vector<std::string> notes{};
    /// Folders right below the first one that are left out.
    std::vector<fs::path> leftOut{};
};

void search(const fs::path& folder, Search& found, std::size_t depth = 0) {
    std::error_code failure;
    std::vector<fs::path> entries = Platform::listFolder(folder, failure);
    if (failure) {
        found.notes.push_back(textOf(folder) + ": " +
                              Platform::toUtf8(Platform::errorText(failure)));
    }
    std::sort(entries.begin(), entries.end());
    for (const fs::path& entry : entries) {
        const bool isLeftOut = std::find(found.leftOut.begin(), found.leftOut.end(),
                                         entry.filename()) != found.leftOut.end();
        const bool isOwnFolder = Platform::isFolder(entry) && !Platform::isLink(entry);
        if (isOwnFolder && depth < maxDepth && (depth > 0 || !isLeftOut)) {
            search(entry, found, depth + 1);
        } else if (Platform::isRegularFile(entry)) {
            found.files.push_back(entry);
        }
    }
}

/// What no text is cannot be looked through for secrets.
bool isReadableText(const std::string& content) {
    return content.find('\0') == std::string::npos;
}

void addFile(const std::string& part, const fs::path& file, const AddPart& add,
             const NotePart& note) {
    std::error_code failure;
    auto content = endOf(file, failure);
    if (!content) {
        note(part + ": cannot be read: " + Platform::toUtf8(Platform::errorText(failure)));
    } else if (isBusTrace(file)) {
        add(part, std::move(*content));
    } else if (isReadableText(*content)) {
        add(part, withoutSecrets(*content));
    } else {
        note(part + ": left out, it is no text in UTF-8");
    }
}

void addFolder(const std::string& name, const fs::path& folder, Search found, const AddPart& add,
               const NotePart& note) {
    for (const std::string& each : found.notes) {
        note(name + ": " + each);
    }
    if (found.files.size() > maxFiles) {
        note(name + ": only " + std::to_string(maxFiles) + " of " +
             std::to_string(found.files.size()) + " files");
        found.files.resize(maxFiles);
    }
    for (const fs::path& file : found.files) {
        addFile(nameIn(name, file.lexically_relative(folder)), file, add, note);
    }
}

/// The file that the settings name; its lines tell who may do what.
fs::path tokenFileOf(const fs::path& configFolder) {
    static const boost::regex form(R"re(\btokenFile\s*=\s*["']([^"']+)["'])re");
    std::error_code ignored;
    const std::string settings = endOf(configFolder / "KelServer.xml", ignored).value_or("");
    boost::smatch match;
    return boost::regex_search(settings, match, form)
               ? Platform::toPath(Platform::fromUtf8(match[1].str())).filename()
               : fs::path();
}

fs::path tracesOf(const LocalFolders& folders) {
    return folders.traces.empty() && !folders.config.empty() ? folders.config / "traces"
                                                             : folders.traces;
}

std::string variables() {
    std::string text;
    for (const char* const name : {"LANG", "LC_ALL", "LC_CTYPE", "TZ", "TERM", "NO_COLOR", "HOME",
                                   "PATH", "PROGRAMDATA", "XDG_CONFIG_HOME", "WINEPREFIX"}) {
        // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread
        if (const char* const value = std::getenv(name)) {
            text += std::string(name) + "=" + value + "\n";
        }
    }
    return text;
}

} // namespace

void addEnvironment(const AddPart& add) {
    add("environment/program.txt", "kelctl " KELCTL_VERSION "\n" +
                                       textOf(Platform::executablePath()) + "\n" +
                                       Platform::toUtf8(Platform::operatingSystem().version) +
                                       "\n" + Platform::toUtf8(Platform::hostName()) + "\n");
    add("environment/variables.txt", variables());
    // Those of this program, which are those of a server that the same person starts.
    for (const char* const file : {"/proc/self/limits", "/proc/meminfo", "/proc/mounts"}) {
        std::error_code ignored;
        if (auto content = endOf(file, ignored); content && !content->empty()) {
            add("environment/" + textOf(fs::path(file).filename()) + ".txt", std::move(*content));
        }
    }
}

void addConfiguration(const LocalFolders& folders, const AddPart& add, const NotePart& note) {
    if (folders.config.empty()) {
        note("config: no configuration folder is known here; name it with --config");
        return;
    }
    Search found{.leftOut = {"traces", "reports", tracesOf(folders).filename()}};
    search(folders.config, found);
    const fs::path tokens = tokenFileOf(folders.config);
    std::erase_if(found.files, [&](const fs::path& file) {
        return file.filename() == tokens || !hasEnding(file, {".xml", ".xsd", ".txt"});
    });
    addFolder("config", folders.config, std::move(found), add, note);
}

void addTraces(const LocalFolders& folders, const AddPart& add, const NotePart& note) {
    const fs::path folder = tracesOf(folders);
    if (folder.empty()) {
        return;
    }
    Search found;
    search(folder, found);
    std::erase_if(found.files, [](const fs::path& file) {
        return !isBusTrace(file) && !hasEnding(file, {".log", ".txt"});
    });
    addFolder("traces", folder, std::move(found), add, note);
}

void addLocalReports(const LocalFolders& folders, const AddPart& add, const NotePart& note) {
    const fs::path folder = folders.config / "reports";
    if (folders.config.empty() || !Platform::isFolder(folder)) {
        return;
    }
    Search found;
    search(folder, found);
    std::erase_if(found.files, [](const fs::path& file) { return !hasEnding(file, {".html"}); });
    // Their names begin with the time.
    if (found.files.size() > maxReports) {
        found.files.erase(found.files.begin(),
                          found.files.end() - static_cast<std::ptrdiff_t>(maxReports));
    }
    addFolder("reports", folder, std::move(found), add, note);
}

} // namespace Quarlen::Ctl
