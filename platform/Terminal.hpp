#pragma once

#include <cstddef>
#include <iosfwd>
#include <optional>

namespace Quarlen::Platform {

/// Standard output and standard error for texts in UTF-8, which a screen shows as such; a file or
/// pipe gets the bytes as they are. A text that could not be written is lost. Standard output fails
/// at the flush then and can be cleared; standard error never does. Both live as long as the
/// process.
std::ostream& standardOutput();
std::ostream& standardErrors();

/// True when a person sees what the program writes to its standard output: a terminal that
/// understands the control sequences of ECMA-48. On Windows they are switched on with the first
/// call and back at the end of the program.
bool isOutputTerminal();

struct TerminalSize {
    std::size_t rows = 0;
    std::size_t columns = 0;
};

/// Of the terminal that standard output goes to; nothing where it goes elsewhere.
std::optional<TerminalSize> outputTerminalSize();

} // namespace Quarlen::Platform
