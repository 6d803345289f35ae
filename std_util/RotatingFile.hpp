#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace Quarlen::Platform {
class AppendFile;
}

namespace StdUtil {

/// A file that is put aside when it is full: `trace.log` becomes `trace.1.log`, which has become
/// `trace.2.log`. Nothing is ever cut off. While a file cannot be renamed, because somebody who
/// looks at it does not let it go, lines go on into the same file, and the renaming is tried again
/// each time the file has grown by some more. Not thread-safe.
class RotatingFile {
public:
    struct Limits {
        /// Bytes.
        std::uint64_t size;
        /// Files put aside; the oldest one makes room for the next.
        std::size_t formerFiles;
        /// Bytes by which the file grows between two attempts to put it aside.
        std::uint64_t betweenAttempts;
        /// What each new file begins with.
        std::string beginning{};
    };

    /// Replaces a file that has the new name. False when that was not possible; then both files are
    /// as before.
    using Rename =
        std::function<bool(const std::filesystem::path& from, const std::filesystem::path& to)>;

    /// Goes on behind what is in the file; creates it where it is missing, with its folder. Throws
    /// `std::system_error`.
    RotatingFile(std::filesystem::path name, Limits limits, Rename renameFile = replacing);
    ~RotatingFile();
    RotatingFile(const RotatingFile&) = delete;
    RotatingFile& operator=(const RotatingFile&) = delete;

    /// The line stands in one file, whole. Throws `std::system_error`; do not use the object then.
    void write(std::string_view line);

private:
    static bool replacing(const std::filesystem::path& from, const std::filesystem::path& to);
    [[nodiscard]] std::filesystem::path former(std::size_t index) const;
    [[nodiscard]] bool putAside() const;
    void rotate();
    void open();
    void begin();

    const std::filesystem::path file;
    const Limits limits;
    const Rename rename;
    std::unique_ptr<Quarlen::Platform::AppendFile> opened;
    std::uint64_t size = 0;
    /// The size that the next line must not exceed without another attempt.
    std::uint64_t fullSize = limits.size;
};

} // namespace StdUtil
