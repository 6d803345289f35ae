#pragma once

#include <string>

#include "kel_server_lib/runtime/KelApiException.hpp"

namespace Quarlen {

/// The console line, in UTF-8, that reports a failure of the runtime, without its line end.
std::string exceptionLine(const Kel_cpp::KelApiException& exception);

/// The server status that reports a failure of the runtime.
std::wstring exceptionStatus(const Kel_cpp::KelApiException& exception);

} // namespace Quarlen
