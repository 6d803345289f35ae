#include "platform/Terminal.hpp"

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <sys/ioctl.h>
#include <unistd.h>

namespace Quarlen::Platform {

std::ostream& standardOutput() {
    return std::cout;
}

std::ostream& standardErrors() {
    return std::cerr;
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
