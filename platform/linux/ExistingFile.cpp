#include "platform/ExistingFile.hpp"

#include <fcntl.h>
#include <unistd.h>

#include "platform/linux/Descriptor.hpp"

namespace Quarlen::Platform {
namespace {

class OpenFile : public ExistingFile {
public:
    explicit OpenFile(int number) : descriptor(number) {}

    [[nodiscard]] bool isOpen() const { return descriptor.isOpen(); }

    bool replaceContent(std::string_view content) override {
        // A file that cannot be shortened has no old content that could be left over.
        [[maybe_unused]] const int ignored = ::ftruncate(descriptor.get(), 0);
        return descriptor.writeAll(content) == 0;
    }

private:
    Descriptor descriptor;
};

} // namespace

std::unique_ptr<ExistingFile> ExistingFile::open(const std::filesystem::path& file) {
    auto opened = std::make_unique<OpenFile>(::open(file.c_str(), O_WRONLY | O_CLOEXEC));
    if (!opened->isOpen()) {
        return nullptr;
    }
    return opened;
}

} // namespace Quarlen::Platform
