#include "platform/SystemMessage.hpp"

#include <array>
#include <cerrno>
#include <optional>
#include <string_view>
#include <windows.h>
#include <winsock2.h>

#include "platform/TextEncoding.hpp"

namespace Quarlen::Platform {
namespace {

struct Pair {
    int errnoValue;
    DWORD systemValue;
};

/// ERROR_DIRECTORY_NOT_SUPPORTED, which mingw-w64's headers do not have.
constexpr DWORD directoryNotSupported = 336;

/// What the C library calls by numbers of its own, which mean something else to the system.
constexpr std::array systemValues{
    Pair{EPERM, ERROR_ACCESS_DENIED},
    Pair{ENOENT, ERROR_FILE_NOT_FOUND},
    Pair{EIO, ERROR_IO_DEVICE},
    Pair{EBADF, ERROR_INVALID_HANDLE},
    Pair{EAGAIN, ERROR_NO_SYSTEM_RESOURCES},
    Pair{ENOMEM, ERROR_NOT_ENOUGH_MEMORY},
    Pair{EACCES, ERROR_ACCESS_DENIED},
    Pair{EBUSY, ERROR_BUSY},
    Pair{EEXIST, ERROR_FILE_EXISTS},
    Pair{EXDEV, ERROR_NOT_SAME_DEVICE},
    Pair{ENOTDIR, ERROR_DIRECTORY},
    Pair{EISDIR, directoryNotSupported},
    Pair{EINVAL, ERROR_INVALID_PARAMETER},
    Pair{EMFILE, ERROR_TOO_MANY_OPEN_FILES},
    Pair{EFBIG, ERROR_FILE_TOO_LARGE},
    Pair{ENOSPC, ERROR_DISK_FULL},
    Pair{EROFS, ERROR_WRITE_PROTECT},
    Pair{EPIPE, ERROR_BROKEN_PIPE},
    Pair{EDEADLK, ERROR_POSSIBLE_DEADLOCK},
    Pair{ENAMETOOLONG, ERROR_FILENAME_EXCED_RANGE},
    Pair{ENOSYS, ERROR_CALL_NOT_IMPLEMENTED},
    Pair{ENOTEMPTY, ERROR_DIR_NOT_EMPTY},
    Pair{EILSEQ, ERROR_NO_UNICODE_TRANSLATION},
    Pair{ENOTSUP, ERROR_NOT_SUPPORTED},
    Pair{ECANCELED, ERROR_CANCELLED},
    Pair{EADDRINUSE, WSAEADDRINUSE},
    Pair{EADDRNOTAVAIL, WSAEADDRNOTAVAIL},
    Pair{ECONNREFUSED, WSAECONNREFUSED},
    Pair{ECONNRESET, WSAECONNRESET},
    Pair{ETIMEDOUT, WSAETIMEDOUT},
};

/// By its name, because Boost has a category of its own for the same numbers, which tells them in
/// the user's code page.
bool isOfTheSystem(const std::error_code& error) {
    return std::string_view(error.category().name()) == std::system_category().name();
}

std::optional<int> systemValueOf(const std::error_code& error) {
    if (isOfTheSystem(error)) {
        return error.value();
    }
    if (error.category() != std::generic_category()) {
        return std::nullopt;
    }
    for (const Pair& pair : systemValues) {
        if (pair.errnoValue == error.value()) {
            return static_cast<int>(pair.systemValue);
        }
    }
    return std::nullopt;
}

/// Chinese and Japanese have a full stop of their own.
std::wstring_view withoutEnd(std::wstring_view words) {
    const std::size_t last = words.find_last_not_of(L".\u3002 \r\n");
    return words.substr(0, last == std::wstring_view::npos ? 0 : last + 1);
}

/// In the language of the thread, else of the user, else of the system, else in English.
std::wstring wordsOf(int systemValue) {
    constexpr std::size_t enough = 4096; // no message of the system is longer than some hundred
    std::array<wchar_t, enough> text{};
    const DWORD length = ::FormatMessageW(
        FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK,
        nullptr, static_cast<DWORD>(systemValue), 0, text.data(), static_cast<DWORD>(text.size()),
        nullptr);
    return std::wstring(withoutEnd({text.data(), length}));
}

} // namespace

SystemMessage systemMessage(const std::error_code& error) {
    if (const std::optional<int> value = systemValueOf(error)) {
        const std::wstring words = wordsOf(*value);
        if (!words.empty() || isOfTheSystem(error)) {
            return {*value, words};
        }
    }
    return {error.value(), fromUtf8(error.message())};
}

} // namespace Quarlen::Platform
