#pragma once

#include <filesystem>
#include <memory>

#include "std_util/ErrorHandler.hpp"

namespace StdUtil {

/// A listener that writes one line per trace (time with its offset from UTC, level, source, line,
/// text) into a rotating file. The caller adds it to the `ErrorHandler`. Line ends
/// inside a text are written as "\n", so that a trace stays one line. A `TraceQueue` hands the
/// traces to its own thread, on which a `TraceWriter` writes them: a trace is in the file moments
/// after it was made, and all of them are once the listener has been destroyed. Traces are lost
/// silently while the file cannot be written; a later line tells how many were lost. A trace always
/// begins on a new line, also where the line before was cut off. Throws `std::runtime_error` when
/// the file cannot be opened.
std::shared_ptr<TraceListener> openTraceFile(const std::filesystem::path& file);

} // namespace StdUtil
