#pragma once

#include <string>
#include <system_error>

namespace Quarlen::Platform {

/// The cause that an error code stands for, for people. Never empty: the number stands in where the
/// system has no text for the code or the text cannot be converted.
std::wstring errorText(const std::error_code& error);

} // namespace Quarlen::Platform
