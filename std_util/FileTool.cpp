#include "std_util/FileTool.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>
#include <string_view>
#include <system_error>

#include "platform/FileFacts.hpp"
#include "platform/FileNames.hpp"
#include "platform/Paths.hpp"
#include "platform/StreamError.hpp"
#include "platform/TextEncoding.hpp"

namespace StdUtil::FileTool {

namespace Platform = Quarlen::Platform;

namespace {

struct FileType {
    std::wstring_view ending;
    std::int32_t type;
};

constexpr std::array fileTypes{
    FileType{L".pdx", fileTypePdx},
    FileType{L".zip", fileTypeZip},
};

constexpr std::size_t readSize = std::size_t{64} * 1024;

/// Endings are plain ASCII; the locale must not change what a file is.
bool equalIgnoringCase(wchar_t left, wchar_t right) {
    const auto lower = [](wchar_t letter) {
        return letter >= L'A' && letter <= L'Z' ? static_cast<wchar_t>(letter - L'A' + L'a')
                                                : letter;
    };
    return lower(left) == lower(right);
}

bool endsIgnoringCase(std::wstring_view text, std::wstring_view ending) {
    return text.size() >= ending.size() &&
           std::equal(ending.rbegin(), ending.rend(), text.rbegin(), equalIgnoringCase);
}

[[noreturn]] void throwUnreadable(const PathString& path, std::error_code cause) {
    throw std::system_error(cause, "cannot read \"" + Platform::toUtf8(path.wstr()) + "\"");
}

void requireRegularFile(const PathString& path) {
    std::error_code error;
    const Platform::FileKind kind = Platform::fileFacts(path.path(), error).kind;
    if (error) {
        throwUnreadable(path, error);
    }
    if (kind == Platform::FileKind::Folder) {
        throwUnreadable(path, std::make_error_code(std::errc::is_a_directory));
    }
    if (kind != Platform::FileKind::Regular) {
        // A pipe or a device may block or never end.
        throwUnreadable(path, std::make_error_code(std::errc::invalid_argument));
    }
}

std::ifstream open(const PathString& path) {
    errno = 0;
    return std::ifstream(Platform::openablePath(path.path()), std::ios::binary);
}

std::size_t announcedSize(const PathString& path) {
    std::error_code ignored;
    return static_cast<std::size_t>(Platform::fileFacts(path.path(), ignored).size);
}

} // namespace

bool exists(const PathString& path) {
    return Platform::isRegularFile(path.path());
}

bool existsAndIsNotEmpty(const PathString& path) {
    // Files that the kernel makes up as they are read announce no size: look for a first byte.
    return exists(path) &&
           (announcedSize(path) > 0 || open(path).peek() != std::ifstream::traits_type::eof());
}

std::string readFile(const PathString& path) {
    requireRegularFile(path);
    std::ifstream file = open(path);
    if (!file) {
        throwUnreadable(path, Platform::streamError());
    }
    std::string content;
    content.reserve(announcedSize(path));
    std::array<char, readSize> part{};
    do {
        errno = 0;
        file.read(part.data(), static_cast<std::streamsize>(part.size()));
        content.append(part.data(), static_cast<std::size_t>(file.gcount()));
    } while (file);
    if (file.bad()) {
        throwUnreadable(path, Platform::streamError());
    }
    return content;
}

std::wstring fileNameFromPath(const PathString& path) {
    return Platform::fromPath(path.path().filename());
}

bool isFilePathValid(const PathString& path) {
    return Platform::couldNameFile(path.path());
}

std::int32_t getFileType(const PathString& path) {
    for (const FileType& candidate : fileTypes) {
        if (endsIgnoringCase(path.wstr(), candidate.ending)) {
            return candidate.type;
        }
    }
    return fileTypeUnknown;
}

} // namespace StdUtil::FileTool
