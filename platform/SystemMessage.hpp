#pragma once

#include <string>
#include <system_error>

namespace Quarlen::Platform {

/// An error as the system tells it.
struct SystemMessage {
    int number = 0;
    /// Without a full stop or line end behind it; empty where the system has no words.
    std::wstring words;
};

/// The number is that of `error`, or on Windows the system's own for the same error where `error`
/// is one of the C library's.
SystemMessage systemMessage(const std::error_code& error);

} // namespace Quarlen::Platform
