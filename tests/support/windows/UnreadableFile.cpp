#include "tests/support/UnreadableFile.hpp"

#include <stdexcept>
#include <windows.h>

namespace Quarlen::Tests {

/// Nobody else may open the file meanwhile.
struct UnreadableFile::Hold {
    explicit Hold(const std::filesystem::path& file)
        : handle(::CreateFileW(file.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                               FILE_ATTRIBUTE_NORMAL, nullptr)) {
        if (handle == INVALID_HANDLE_VALUE) {
            throw std::runtime_error("the file cannot be held open");
        }
    }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;
    ~Hold() { ::CloseHandle(handle); }

    HANDLE handle;
};

UnreadableFile::UnreadableFile(const std::filesystem::path& file)
    : hold(std::make_unique<Hold>(file)) {}

UnreadableFile::~UnreadableFile() = default;

} // namespace Quarlen::Tests
