#pragma once

#include <memory>
#include <optional>

namespace Quarlen::Platform {

/// Single key presses, without echo and without waiting for Enter.
class KeyReader {
public:
    KeyReader() = default;
    KeyReader(const KeyReader&) = delete;
    KeyReader& operator=(const KeyReader&) = delete;
    virtual ~KeyReader() = default;

    /// Blocks until a key is pressed. Returns nothing at the end of the input.
    virtual std::optional<int> readKey() = 0;
};

/// The process's standard input. Where it is a terminal, its mode is changed now (as soon as the
/// process is in the foreground) and restored when the last reader or the process ends, also by a
/// signal; on Windows only when the process ends, so that a click into the console does not hold up
/// what it still prints. In the background a reader waits and does not stop the process.
std::unique_ptr<KeyReader> openConsoleKeys();

/// Takes a click into the process's console the power to hold up every thread that prints, also
/// where no keys are read. Does nothing on Linux, whose terminals have no such power.
void keepClicksHarmless();

} // namespace Quarlen::Platform
