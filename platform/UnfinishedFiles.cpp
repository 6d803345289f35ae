#include "platform/UnfinishedFiles.hpp"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/AtomicFile.hpp"
#include "platform/FileActions.hpp"
#include "platform/FileFacts.hpp"
#include "platform/FolderListing.hpp"
#include "platform/NameHash.hpp"
#include "platform/ProcessIdentity.hpp"

namespace Quarlen::Platform {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view beginningOfAll = ".kel-";
constexpr std::string_view partialEnding = ".part";
constexpr std::string_view completeEnding = ".new";

struct Orphan {
    fs::path file;
    bool isComplete = false;
    std::chrono::system_clock::time_point written;
};

/// The last component, for comparisons: small letters, because a file system may take capitals for
/// the same, and one byte for each unit.
std::string plainName(const fs::path& file) {
    const fs::path name = file.filename();
    std::string plain;
    plain.reserve(name.native().size());
    for (const auto unit : name.native()) {
        const char letter = static_cast<char>(unit);
        plain += letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    }
    return plain;
}

/// How the names of all files begin that are to replace the target.
std::string beginningFor(const fs::path& target) {
    return std::string(beginningOfAll) + nameHash(plainName(target)) + "-";
}

/// True for a file of that beginning whose writer has ended.
bool isOrphan(std::string_view name, std::string_view beginning) {
    if (!name.starts_with(beginning) ||
        !(name.ends_with(partialEnding) || name.ends_with(completeEnding))) {
        return false;
    }
    name.remove_prefix(beginning.size());
    const auto end = name.find('-');
    return end != std::string_view::npos && hasEnded(name.substr(0, end));
}

/// The complete ones last written come first.
std::vector<Orphan> orphansOf(const fs::path& target) {
    const std::string beginning = beginningFor(target);
    const fs::path folder = target.has_parent_path() ? target.parent_path() : ".";
    std::vector<Orphan> found;
    std::error_code failure;
    for (const fs::path& entry : listFolder(folder, failure)) {
        const std::string name = plainName(entry);
        if (isOrphan(name, beginning) && !isLink(entry)) {
            const FileFacts facts = fileFacts(entry, failure);
            if (facts.kind == FileKind::Regular) {
                found.push_back({entry, name.ends_with(completeEnding), facts.written});
            }
        }
    }
    std::sort(found.begin(), found.end(), [](const Orphan& left, const Orphan& right) {
        return left.isComplete != right.isComplete ? left.isComplete : left.written > right.written;
    });
    return found;
}

/// False also where it cannot be told: what may be there is not replaced.
bool isMissing(const fs::path& file) {
    std::error_code failure;
    return !isLink(file) && fileFacts(file, failure).kind == FileKind::Missing;
}

} // namespace

UnfinishedFile::UnfinishedFile(const fs::path& target) {
    static std::atomic<unsigned int> counter{0};
    fs::path name = target.parent_path() /
                    (beginningFor(target) + processIdentity() + "-" + std::to_string(++counter));
    partial = name;
    partial += partialEnding;
    complete = std::move(name);
    complete += completeEnding;
}

bool isUnfinishedFileName(const fs::path& file) {
    return plainName(file).starts_with(beginningOfAll);
}

void settleUnfinishedFiles(const fs::path& name) noexcept {
    try {
        const fs::path target = followLinks(name);
        for (const Orphan& orphan : orphansOf(target)) {
            if (orphan.isComplete && isMissing(target)) {
                renameFile(orphan.file, target);
            } else {
                removeFile(orphan.file);
            }
        }
    } catch (...) {
        // What lies there cannot be renamed, which whoever needs the target finds out.
        return;
    }
}

} // namespace Quarlen::Platform
