#include "platform/Terminal.hpp"

#include <cstdlib>
#include <cstring>
#include <ostream>
#include <sys/ioctl.h>
#include <unistd.h>

#include "platform/linux/DescriptorOutput.hpp"

namespace Quarlen::Platform {

namespace {

/// Never destroyed, as the streams: detached threads may still write while the process ends.
OutputBuffer& openBuffer(int descriptor, OutputBuffer::Losses losses) {
    return *new OutputBuffer(*new DescriptorOutput(descriptor), losses);
}

OutputBuffer& outputBuffer() {
    static OutputBuffer& buffer = openBuffer(STDOUT_FILENO, OutputBuffer::Losses::Told);
    return buffer;
}

std::ostream& openOutput() {
    static_cast<void>(std::atexit([] { outputBuffer().flushAtEnd(); }));
    return *new std::ostream(&outputBuffer());
}

std::ostream& openErrors() {
    auto& stream = *new std::ostream(&openBuffer(STDERR_FILENO, OutputBuffer::Losses::Hidden));
    stream << std::unitbuf;
    return stream;
}

} // namespace

std::ostream& standardOutput() {
    static std::ostream& stream = openOutput();
    return stream;
}

std::ostream& standardErrors() {
    static std::ostream& stream = openErrors();
    return stream;
}

bool isOutputTerminal() {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the environment does not change
    const char* const kind = std::getenv("TERM");
    return ::isatty(STDOUT_FILENO) == 1 && kind != nullptr && std::strcmp(kind, "dumb") != 0;
}

std::optional<TerminalSize> outputTerminalSize() {
    winsize size{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_row == 0 || size.ws_col == 0) {
        return {};
    }
    return TerminalSize{size.ws_row, size.ws_col};
}

} // namespace Quarlen::Platform
