#include "std_util/RotatingFile.hpp"

#include <string>
#include <system_error>
#include <utility>

#include "platform/AppendFile.hpp"
#include "platform/FileActions.hpp"
#include "platform/FileFacts.hpp"

namespace StdUtil {

namespace fs = std::filesystem;
namespace Platform = Quarlen::Platform;

RotatingFile::RotatingFile(fs::path name, Limits limits, Rename renameFile)
    : file(std::move(name)), limits(std::move(limits)), rename(std::move(renameFile)) {
    open();
}

RotatingFile::~RotatingFile() = default;

void RotatingFile::write(std::string_view line) {
    if (size + line.size() > fullSize) {
        rotate();
    }
    opened->write(line);
    size += line.size();
}

bool RotatingFile::replacing(const fs::path& from, const fs::path& to) {
    try {
        Platform::renameFile(from, to);
        return true;
    } catch (const std::system_error&) {
        return false;
    }
}

fs::path RotatingFile::former(std::size_t index) const {
    if (index == 0) {
        return file;
    }
    fs::path name = file.stem();
    name += "." + std::to_string(index);
    name += file.extension();
    return file.parent_path() / name;
}

/// Begins with the oldest one, so that each finds its new name free. A failure leaves the newer
/// ones where they are; the next attempt finds a gap and closes it.
bool RotatingFile::putAside() const {
    for (std::size_t index = limits.formerFiles; index > 0; --index) {
        const fs::path newer = former(index - 1);
        std::error_code failure;
        const bool isMissing =
            Platform::fileFacts(newer, failure).kind == Platform::FileKind::Missing;
        if (!isMissing && !rename(newer, former(index))) {
            return false;
        }
    }
    return true;
}

void RotatingFile::rotate() {
    // Somebody may have emptied the file; on a full disk it may have stayed empty.
    size = opened->size();
    if (size == 0) {
        begin();
        return;
    }
    const bool done = putAside();
    open();
    fullSize = done ? limits.size : size + limits.betweenAttempts;
}

/// By its name also after a failure: the file may have been removed together with its folder.
void RotatingFile::open() {
    if (file.has_parent_path()) {
        Platform::createFolders(file.parent_path());
    }
    opened = Platform::AppendFile::open(file);
    size = opened->size();
    begin();
}

void RotatingFile::begin() {
    if (size == 0 && !limits.beginning.empty()) {
        opened->write(limits.beginning);
        size = limits.beginning.size();
    }
}

} // namespace StdUtil
