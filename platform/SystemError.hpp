#pragma once

#include <exception>
#include <string>
#include <string_view>
#include <system_error>

namespace Quarlen::Platform {

/// The cause that an error code stands for, for people: the system's words, on Windows in the
/// user's language, and the number, as in "Permission denied (13)". "error 13" stands in where
/// there are no words or they cannot be converted.
std::wstring errorText(const std::error_code& error);

/// A library's text about a failure, in which `errorText` takes the place of the words that the
/// library found for the cause: those are neither in the user's language nor always UTF-8.
std::wstring textWithCause(std::string_view text, std::string_view words,
                           const std::error_code& cause);

/// What an exception says, for people; the cause of a `std::system_error` is told by `errorText`.
/// Never empty.
std::wstring exceptionText(const std::exception& exception);

} // namespace Quarlen::Platform
