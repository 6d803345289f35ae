#include "platform/AppendFile.hpp"

#include <algorithm>
#include <system_error>
#include <windows.h>

#include "platform/windows/ExtendedPath.hpp"

namespace Quarlen::Platform {
namespace {

constexpr std::size_t maxWriteSize = 1U << 30U;

void check(bool succeeded) {
    if (!succeeded) {
        throw std::system_error(static_cast<int>(::GetLastError()), std::system_category());
    }
}

class GrowingFile final : public AppendFile {
public:
    explicit GrowingFile(const std::filesystem::path& file)
        : handle(::CreateFileW(extendedPath(file).c_str(), FILE_APPEND_DATA | FILE_READ_ATTRIBUTES,
                               FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                               OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)) {
        check(handle != INVALID_HANDLE_VALUE);
    }
    GrowingFile(const GrowingFile&) = delete;
    GrowingFile& operator=(const GrowingFile&) = delete;
    ~GrowingFile() override { ::CloseHandle(handle); }

    void write(std::string_view content) override {
        while (!content.empty()) {
            const auto portion = static_cast<DWORD>(std::min(content.size(), maxWriteSize));
            DWORD written = 0;
            check(::WriteFile(handle, content.data(), portion, &written, nullptr) != FALSE);
            content.remove_prefix(written);
        }
    }

    [[nodiscard]] std::uint64_t size() const override {
        LARGE_INTEGER bytes{};
        check(::GetFileSizeEx(handle, &bytes) != FALSE);
        return static_cast<std::uint64_t>(bytes.QuadPart);
    }

private:
    HANDLE handle;
};

} // namespace

std::unique_ptr<AppendFile> AppendFile::open(const std::filesystem::path& file) {
    return std::make_unique<GrowingFile>(file);
}

} // namespace Quarlen::Platform
