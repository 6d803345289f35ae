#pragma once

#include "std_util/ErrorHandler.hpp"

/// Traces of the program: printf-style wide texts, formatted on the calling thread and handed to
/// the listeners of the `ErrorHandler`. `%s` takes a `const wchar_t*` on every
/// platform. Nothing is formatted unless there is a listener and the debug trace level asks for the
/// trace.
namespace StdUtil::TraceHelper {

/// True when a listener exists and the debug trace level lets `level` through.
bool isActive(TraceLevel level);

/// Written from debug trace level 3 on.
void InfoTrace(const wchar_t* source, int line, const wchar_t* format, ...);
/// Written from debug trace level 4 on.
void DebugTrace(const wchar_t* source, int line, const wchar_t* format, ...);
/// Written from debug trace level 1 on.
void ErrorTrace(const wchar_t* source, int line, const wchar_t* format, ...);

} // namespace StdUtil::TraceHelper
