#include "platform/UnfinishedFiles.hpp"

#include <algorithm>
#include <atomic>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/AtomicFile.hpp"
#include "platform/NameHash.hpp"
#include "platform/ProcessIdentity.hpp"

namespace Quarlen::Platform {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view partialEnding = ".part";
constexpr std::string_view completeEnding = ".new";

struct Orphan {
    fs::path file;
    bool isComplete = false;
    fs::file_time_type written;
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
    return ".kel-" + nameHash(plainName(target)) + "-";
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
    for (const auto& entry : fs::directory_iterator(folder)) {
        const std::string name = plainName(entry.path());
        if (isOrphan(name, beginning) && fs::is_regular_file(entry.symlink_status())) {
            found.push_back(
                {entry.path(), name.ends_with(completeEnding), entry.last_write_time()});
        }
    }
    std::sort(found.begin(), found.end(), [](const Orphan& left, const Orphan& right) {
        return left.isComplete != right.isComplete ? left.isComplete : left.written > right.written;
    });
    return found;
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

void settleUnfinishedFiles(const fs::path& name) noexcept {
    try {
        const fs::path target = followLinks(name);
        for (const Orphan& orphan : orphansOf(target)) {
            std::error_code refused;
            if (orphan.isComplete && !fs::exists(fs::symlink_status(target))) {
                fs::rename(orphan.file, target, refused);
            } else {
                fs::remove(orphan.file, refused);
            }
        }
    } catch (...) {
        // The folder cannot be read, which whoever needs the target finds out.
        return;
    }
}

} // namespace Quarlen::Platform
