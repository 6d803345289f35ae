#include <iostream>

#include "platform/Console.hpp"

namespace Quarlen::Platform {

Console& standardConsole() {
    // Never destroyed: detached threads may still write while the process ends.
    static Console& console = *new Console(std::cout);
    return console;
}

} // namespace Quarlen::Platform
