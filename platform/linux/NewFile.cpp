#include "platform/NewFile.hpp"

#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace Quarlen::Platform {
namespace {

constexpr mode_t readableByAll = 0644;

/// Closes the descriptor; removes the file unless it was finished.
class UnfinishedFile {
public:
    UnfinishedFile(const std::filesystem::path& file, int descriptor)
        : file(file), descriptor(descriptor) {}
    UnfinishedFile(const UnfinishedFile&) = delete;
    UnfinishedFile& operator=(const UnfinishedFile&) = delete;
    ~UnfinishedFile() {
        ::close(descriptor);
        if (!finished) {
            ::unlink(file.c_str());
        }
    }

    void write(std::string_view content) const {
        while (!content.empty()) {
            const ssize_t written = ::write(descriptor, content.data(), content.size());
            if (written < 0 && errno != EINTR) {
                throw std::system_error(errno, std::generic_category());
            }
            content.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
        }
    }

    void finish() {
        if (::fsync(descriptor) != 0) {
            throw std::system_error(errno, std::generic_category());
        }
        finished = true;
    }

private:
    const std::filesystem::path& file;
    int descriptor;
    bool finished = false;
};

} // namespace

bool createNewFile(const std::filesystem::path& file, std::string_view content) {
    const int descriptor =
        ::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, readableByAll);
    if (descriptor < 0 && errno == EEXIST) {
        return false;
    }
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category());
    }
    UnfinishedFile created(file, descriptor);
    created.write(content);
    created.finish();
    return true;
}

} // namespace Quarlen::Platform
