#include <cstdio>
#include <fcntl.h>
#include <io.h>
#include <iostream>
#include <windows.h>

#include "platform/Console.hpp"

namespace Quarlen::Platform {
namespace {

/// UTF-8 on the screen, and no translation of line ends on the way there.
Console* openStandardConsole() {
    ::SetConsoleOutputCP(CP_UTF8);
    ::_setmode(::_fileno(stdout), _O_BINARY);
    return new Console(std::cout);
}

} // namespace

Console& standardConsole() {
    // Never destroyed: detached threads may still write while the process ends.
    static Console& console = *openStandardConsole();
    return console;
}

} // namespace Quarlen::Platform
