#include "platform/windows/FileError.hpp"

#include <windows.h>

namespace Quarlen::Platform {

bool saysMissing(unsigned long code) noexcept {
    return code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND ||
           code == ERROR_INVALID_NAME || code == ERROR_BAD_PATHNAME || code == ERROR_INVALID_DRIVE;
}

std::error_code fileError(unsigned long code) noexcept {
    if (saysMissing(code)) {
        return std::make_error_code(std::errc::no_such_file_or_directory);
    }
    if (code == ERROR_DIRECTORY) {
        return std::make_error_code(std::errc::not_a_directory);
    }
    // A call that failed must not look like one that did not.
    return {static_cast<int>(code != ERROR_SUCCESS ? code : ERROR_GEN_FAILURE),
            std::system_category()};
}

std::error_code lastFileError() noexcept {
    return fileError(::GetLastError());
}

} // namespace Quarlen::Platform
