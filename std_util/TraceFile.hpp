#pragma once

#include <filesystem>
#include <memory>

#include "std_util/ErrorHandler.hpp"

namespace StdUtil {

/// A listener that writes one line per trace (time, level, source, line, text) into a rotating
/// file. Line ends inside a text are written as "\n" so that a trace stays one line. A thread of
/// its own writes: a trace is in the file moments after it was made, and all of them are once the
/// listener has gone.
/// Throws `std::runtime_error` when the file cannot be opened.
std::shared_ptr<TraceListener> openTraceFile(const std::filesystem::path& file);

} // namespace StdUtil
