#pragma once

#include <string>

#include "std_util/ErrorHandler.hpp"

/// printf-style wide traces. `%s` takes a `const wchar_t*` on every platform. Nothing is formatted
/// unless somebody listens at that level.
namespace StdUtil::TraceHelper {

/// True when a listener exists and the debug trace level lets `level` through.
bool isActive(TraceLevel level);

/// Written from debug trace level 3 on.
void InfoTrace(const wchar_t* source, int line, const wchar_t* format, ...);
/// Written from debug trace level 1 on.
void ErrorTrace(const wchar_t* source, int line, const wchar_t* format, ...);

} // namespace StdUtil::TraceHelper
