#pragma once

#include <system_error>

namespace Quarlen::Platform {

/// True for the codes of `GetLastError` that say that there is no such file. A server that cannot
/// be reached is another fault: nobody knows what it has.
bool saysMissing(unsigned long code) noexcept;

/// The cause of a failed call for a file. What is missing, and what is no folder, compares equal to
/// the portable conditions.
std::error_code fileError(unsigned long code) noexcept;

/// The same for the calling thread's last error.
std::error_code lastFileError() noexcept;

} // namespace Quarlen::Platform
