#pragma once

#include <filesystem>
#include <memory>

#include "std_util/ErrorHandler.hpp"

namespace StdUtil {

/// A listener that writes one line per trace (time with its offset from UTC, level, source, line,
/// text) into a rotating file. Line ends inside a text are written as "\n" so that a trace stays
/// one line. A thread of its own writes: a trace is in the file moments after it was made, and all
/// of them are once the listener has gone. While the file cannot be written traces are lost,
/// silently; once it can, a line of its own tells how many. A line always begins at a line's
/// beginning, also where the former one was cut off. Throws `std::runtime_error` when the file
/// cannot be opened.
std::shared_ptr<TraceListener> openTraceFile(const std::filesystem::path& file);

} // namespace StdUtil
