#include "platform/AppendFile.hpp"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>

#include "platform/linux/Descriptor.hpp"

namespace Quarlen::Platform {
namespace {

constexpr mode_t appendMode = 0666;

void checkAppending(int error) {
    if (error != 0) {
        throw std::system_error(error, std::generic_category());
    }
}

class GrowingFile final : public AppendFile {
public:
    explicit GrowingFile(const std::filesystem::path& file)
        : descriptor(::open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, appendMode)) {
        checkAppending(descriptor.isOpen() ? 0 : errno);
    }

    void write(std::string_view content) override { checkAppending(descriptor.writeAll(content)); }

    [[nodiscard]] std::uint64_t size() const override {
        struct stat status {};
        checkAppending(::fstat(descriptor.get(), &status) == 0 ? 0 : errno);
        return static_cast<std::uint64_t>(status.st_size);
    }

private:
    Descriptor descriptor;
};

} // namespace

std::unique_ptr<AppendFile> AppendFile::open(const std::filesystem::path& file) {
    return std::make_unique<GrowingFile>(file);
}

} // namespace Quarlen::Platform
