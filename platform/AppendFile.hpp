#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string_view>

namespace Quarlen::Platform {

/// A file that only grows, at its end. Others may read, rename and remove it while it is open, and
/// it stays the same file under its new name. The destructor closes it.
class AppendFile {
public:
    /// Creates the file where it is missing. Throws `std::system_error`.
    static std::unique_ptr<AppendFile> open(const std::filesystem::path& file);

    AppendFile() = default;
    AppendFile(const AppendFile&) = delete;
    AppendFile& operator=(const AppendFile&) = delete;
    virtual ~AppendFile() = default;

    /// Hands all bytes to the system at once. Throws `std::system_error` when some of them could
    /// not be written; a part may be in the file then.
    virtual void write(std::string_view content) = 0;
    /// The size that the file has now. Throws `std::system_error`.
    [[nodiscard]] virtual std::uint64_t size() const = 0;
};

} // namespace Quarlen::Platform
