#include "platform/Console.hpp"

#include <ostream>

#include "platform/Terminal.hpp"

namespace Quarlen::Platform {

void Console::line(std::string_view text) {
    const std::lock_guard lock(mutex);
    output.clear();
    output << text << '\n' << std::flush;
}

void Console::text(std::string_view text) {
    const std::lock_guard lock(mutex);
    output.clear();
    output << text;
}

Console& standardConsole() {
    // Never destroyed: detached threads may still write while the process ends.
    static Console& console = *new Console(standardOutput());
    return console;
}

} // namespace Quarlen::Platform
