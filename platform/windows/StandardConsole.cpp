#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <io.h>
#include <iostream>
#include <streambuf>
#include <windows.h>

#include "platform/Console.hpp"

namespace Quarlen::Platform {
namespace {

/// Hands every text to the screen as a whole and at once. The C library would hand it over byte by
/// byte, and a single byte of a UTF-8 character shows as rubbish.
class ScreenBuffer final : public std::streambuf {
public:
    explicit ScreenBuffer(HANDLE screen) : screen(screen) {}

protected:
    std::streamsize xsputn(const char* text, std::streamsize size) override {
        std::streamsize written = 0;
        while (written < size) {
            DWORD count = 0;
            if (::WriteFile(screen, text + written, static_cast<DWORD>(size - written), &count,
                            nullptr) == 0) {
                break;
            }
            written += count;
        }
        return written;
    }

    int_type overflow(int_type letter) override {
        const char text = traits_type::to_char_type(letter);
        const bool isText = !traits_type::eq_int_type(letter, traits_type::eof());
        return isText && xsputn(&text, 1) != 1 ? traits_type::eof() : traits_type::not_eof(letter);
    }

private:
    HANDLE screen;
};

/// Restores the encoding of the screen at the end of the program: the screen outlives it.
void useUtf8OnScreen() {
    static const UINT former = ::GetConsoleOutputCP();
    ::SetConsoleOutputCP(CP_UTF8);
    std::atexit([] { ::SetConsoleOutputCP(former); });
}

/// UTF-8 on the screen, and no translation of line ends on the way there.
Console* openStandardConsole() {
    ::_setmode(::_fileno(stdout), _O_BINARY);
    const HANDLE output = ::GetStdHandle(STD_OUTPUT_HANDLE);
    DWORD mode = 0;
    if (::GetConsoleMode(output, &mode) == 0) {
        return new Console(std::cout);
    }
    useUtf8OnScreen();
    return new Console(*new std::ostream(new ScreenBuffer(output)));
}

} // namespace

Console& standardConsole() {
    // Never destroyed: detached threads may still write while the process ends.
    static Console& console = *openStandardConsole();
    return console;
}

} // namespace Quarlen::Platform
