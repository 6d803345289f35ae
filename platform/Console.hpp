#pragma once

#include <iosfwd>
#include <mutex>
#include <string_view>

namespace Quarlen::Platform {

/// Line output for people: the program writes everything it tells its user through one shared
/// console. Texts are UTF-8 and appear byte for byte, CR LF pairs included. Any thread may write; a
/// lock keeps the lines of several threads apart. A text that could not be written is lost; the
/// next one is written again.
class Console {
public:
    /// `output` must outlive the console.
    explicit Console(std::ostream& output) : output(output) {}

    /// Writes the text and a line end, then flushes.
    void line(std::string_view text);
    /// Writes the text as it is, without a flush.
    void text(std::string_view text);

private:
    std::mutex mutex;
    std::ostream& output;
};

/// Standard output. Lives as long as the process.
Console& standardConsole();

} // namespace Quarlen::Platform
