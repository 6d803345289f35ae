#include "platform/Console.hpp"

#include <ostream>

namespace Quarlen::Platform {

void Console::line(std::string_view text) {
    const std::lock_guard lock(mutex);
    output << text << '\n' << std::flush;
}

void Console::text(std::string_view text) {
    const std::lock_guard lock(mutex);
    output << text;
}

} // namespace Quarlen::Platform
