#include "platform/ExistingFile.hpp"

#include <algorithm>
#include <windows.h>

#include "platform/windows/ExtendedPath.hpp"

namespace Quarlen::Platform {
namespace {

class WritableFile : public ExistingFile {
public:
    explicit WritableFile(HANDLE handle) : handle(handle) {}
    WritableFile(const WritableFile&) = delete;
    WritableFile& operator=(const WritableFile&) = delete;
    ~WritableFile() override { ::CloseHandle(handle); }

    bool replaceContent(std::string_view content) override {
        constexpr std::size_t maxWriteSize = 1U << 30U;
        // The position is the file's beginning. A file that cannot be shortened has no old content
        // that could be left over.
        ::SetEndOfFile(handle);
        while (!content.empty()) {
            const auto portion = static_cast<DWORD>(std::min(content.size(), maxWriteSize));
            DWORD written = 0;
            if (::WriteFile(handle, content.data(), portion, &written, nullptr) == 0) {
                return false;
            }
            content.remove_prefix(written);
        }
        return true;
    }

private:
    HANDLE handle;
};

} // namespace

std::unique_ptr<ExistingFile> ExistingFile::open(const std::filesystem::path& file) {
    const HANDLE handle =
        ::CreateFileW(extendedPath(file).c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                      nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    return handle == INVALID_HANDLE_VALUE ? nullptr : std::make_unique<WritableFile>(handle);
}

} // namespace Quarlen::Platform
