#include "platform/Terminal.hpp"

#include <cstdlib>
#include <ostream>
#include <windows.h>

#include "platform/windows/ConsoleModes.hpp"
#include "platform/windows/HandleOutput.hpp"

namespace Quarlen::Platform {

namespace {

/// Never destroyed, as the streams: detached threads may still write while the process ends.
OutputBuffer& openBuffer(DWORD name, OutputBuffer::Losses losses) {
    return *new OutputBuffer(*new HandleOutput(name, consoleModes()), losses);
}

OutputBuffer& outputBuffer() {
    static OutputBuffer& buffer = openBuffer(STD_OUTPUT_HANDLE, OutputBuffer::Losses::Told);
    return buffer;
}

/// What is left is written before the modes are given back: the last that was registered is called
/// first.
std::ostream& openOutput() {
    auto& stream = *new std::ostream(&outputBuffer());
    static_cast<void>(std::atexit([] { outputBuffer().flushAtEnd(); }));
    return stream;
}

std::ostream& openErrors() {
    auto& stream = *new std::ostream(&openBuffer(STD_ERROR_HANDLE, OutputBuffer::Losses::Hidden));
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
    static const bool isTerminal =
        consoleModes().change(::GetStdHandle(STD_OUTPUT_HANDLE),
                              {.on = ENABLE_PROCESSED_OUTPUT | ENABLE_VIRTUAL_TERMINAL_PROCESSING});
    return isTerminal;
}

std::optional<TerminalSize> outputTerminalSize() {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (::GetConsoleScreenBufferInfo(::GetStdHandle(STD_OUTPUT_HANDLE), &info) == 0) {
        return {};
    }
    const SMALL_RECT& window = info.srWindow;
    return TerminalSize{static_cast<std::size_t>(window.Bottom - window.Top + 1),
                        static_cast<std::size_t>(window.Right - window.Left + 1)};
}

} // namespace Quarlen::Platform
