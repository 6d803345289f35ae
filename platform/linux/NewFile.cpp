#include "platform/NewFile.hpp"

#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

#include "platform/linux/Descriptor.hpp"

namespace Quarlen::Platform {
namespace {

constexpr mode_t readableByAll = 0644;

void check(int error) {
    if (error != 0) {
        throw std::system_error(error, std::generic_category());
    }
}

/// Removes the file unless it was finished.
class FileInCreation {
public:
    explicit FileInCreation(const std::filesystem::path& file) : file(file) {}
    FileInCreation(const FileInCreation&) = delete;
    FileInCreation& operator=(const FileInCreation&) = delete;
    ~FileInCreation() {
        if (!finished) {
            ::unlink(file.c_str());
        }
    }

    void finish() { finished = true; }

private:
    const std::filesystem::path& file;
    bool finished = false;
};

} // namespace

bool createNewFile(const std::filesystem::path& file, std::string_view content) {
    const Descriptor descriptor(
        ::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, readableByAll));
    if (!descriptor.isOpen() && errno == EEXIST) {
        return false;
    }
    check(descriptor.isOpen() ? 0 : errno);
    FileInCreation created(file);
    check(descriptor.writeAll(content));
    check(descriptor.flush());
    created.finish();
    return true;
}

} // namespace Quarlen::Platform
