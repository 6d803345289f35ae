#include "platform/ExistingFile.hpp"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace Quarlen::Platform {
namespace {

class WritableFile : public ExistingFile {
public:
    explicit WritableFile(int number) : number(number) {}
    WritableFile(const WritableFile&) = delete;
    WritableFile& operator=(const WritableFile&) = delete;
    ~WritableFile() override { ::close(number); }

    bool replaceContent(std::string_view content) override {
        // What cannot be shortened has nothing that would be left over.
        [[maybe_unused]] const int ignored = ::ftruncate(number, 0);
        while (!content.empty()) {
            const ssize_t written = ::write(number, content.data(), content.size());
            if (written < 0 && errno != EINTR) {
                return false;
            }
            content.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
        }
        return true;
    }

private:
    int number;
};

} // namespace

std::unique_ptr<ExistingFile> ExistingFile::open(const std::filesystem::path& file) {
    const int descriptor = ::open(file.c_str(), O_WRONLY | O_CLOEXEC);
    return descriptor < 0 ? nullptr : std::make_unique<WritableFile>(descriptor);
}

} // namespace Quarlen::Platform
