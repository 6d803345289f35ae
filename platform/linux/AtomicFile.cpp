#include "platform/AtomicFile.hpp"

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "platform/UnfinishedFiles.hpp"
#include "platform/linux/Descriptor.hpp"

namespace Quarlen::Platform {
namespace {

/// The system itself follows as many links.
constexpr int maxLinks = 40;
constexpr mode_t privateMode = 0600;
constexpr mode_t usualMode = 0666;
constexpr mode_t permissionBits = 07777;

[[noreturn]] void fail(int cause, const std::filesystem::path& file) {
    throw std::system_error(cause, std::generic_category(), "cannot write " + file.native());
}

/// The attributes that a new file takes over from the file that it replaces.
struct Replaced {
    bool exists = false;
    mode_t mode = usualMode;
    uid_t owner = 0;
    gid_t group = 0;
};

Replaced inspect(const std::filesystem::path& file) {
    struct stat status {};
    if (::stat(file.c_str(), &status) != 0) {
        return errno == ENOENT ? Replaced{} : (fail(errno, file), Replaced{});
    }
    if (!S_ISREG(status.st_mode)) {
        fail(S_ISDIR(status.st_mode) ? EISDIR : EINVAL, file);
    }
    return {true, status.st_mode & permissionBits, status.st_uid, status.st_gid};
}

/// A new file in the target's folder, removed again unless it takes the target's place.
class NewFile {
public:
    NewFile(const std::filesystem::path& target, const Replaced& replaced)
        : target(target), names(target), path(names.partial), descriptor(create(replaced)) {
        if (replaced.exists) {
            takeOver(replaced);
        }
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;
    ~NewFile() {
        if (!path.empty()) {
            ::unlink(path.c_str());
        }
    }

    void write(std::string_view content) { checkError(descriptor.writeAll(content)); }

    void moveOverTarget() {
        checkError(descriptor.flush());
        checkError(descriptor.close());
        check(::rename(path.c_str(), names.complete.c_str()));
        path = names.complete;
        check(::rename(path.c_str(), target.c_str()));
        path.clear();
    }

private:
    void checkError(int error) const {
        if (error != 0) {
            fail(error, target);
        }
    }

    void check(int result) const { checkError(result == 0 ? 0 : errno); }

    /// Other users must not open the copy of a file before it has that file's permissions.
    [[nodiscard]] int create(const Replaced& replaced) const {
        const mode_t mode = replaced.exists ? privateMode : usualMode;
        const int opened = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
        if (opened < 0) {
            fail(errno, target);
        }
        return opened;
    }

    void takeOver(const Replaced& replaced) const {
        // Only the superuser can change the owner; other users keep the files that they write.
        if (::fchown(descriptor.get(), replaced.owner, replaced.group) != 0 && errno != EPERM) {
            fail(errno, target);
        }
        check(::fchmod(descriptor.get(), replaced.mode));
    }

    const std::filesystem::path& target;
    const UnfinishedFile names;
    /// The name that the file has now; empty once it is the target.
    std::filesystem::path path;
    Descriptor descriptor;
};

/// The new name is on the disk only once its folder has been flushed. The content is in place
/// already, so a file system that cannot flush folders is not treated as a failure.
void flushFolderOf(const std::filesystem::path& file) {
    const std::filesystem::path folder = file.has_parent_path() ? file.parent_path() : ".";
    const Descriptor descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (descriptor.isOpen()) {
        static_cast<void>(descriptor.flush());
    }
}

} // namespace

std::filesystem::path followLinks(std::filesystem::path file) {
    for (int followed = 0; std::filesystem::is_symlink(file); ++followed) {
        if (followed == maxLinks) {
            fail(ELOOP, file);
        }
        file = file.parent_path() / std::filesystem::read_symlink(file);
    }
    return file;
}

void replaceFile(const std::filesystem::path& target, std::string_view content, Clock& /*clock*/) {
    const std::filesystem::path file = followLinks(target);
    NewFile replacement(file, inspect(file));
    replacement.write(content);
    replacement.moveOverTarget();
    flushFolderOf(file);
}

void moveOver(const std::filesystem::path& file, const std::filesystem::path& target,
              Clock& /*clock*/) {
    if (::rename(file.c_str(), target.c_str()) != 0) {
        fail(errno, target);
    }
    flushFolderOf(target);
}

} // namespace Quarlen::Platform
