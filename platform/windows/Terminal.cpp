#include "platform/Terminal.hpp"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <io.h>
#include <iostream>
#include <streambuf>
#include <windows.h>

namespace Quarlen::Platform {

namespace {

/// What the screen was like before; it outlives the program.
struct FormerScreen {
    std::optional<DWORD> mode;
    std::optional<UINT> encoding;
};
FormerScreen former;

void restoreScreen() {
    if (former.mode) {
        ::SetConsoleMode(::GetStdHandle(STD_OUTPUT_HANDLE), *former.mode);
    }
    if (former.encoding) {
        ::SetConsoleOutputCP(*former.encoding);
    }
}

/// Ctrl-C does not run what `atexit` has.
BOOL WINAPI restoreBeforeTheEnd(DWORD) {
    restoreScreen();
    return FALSE;
}

/// Once for both.
void restoreScreenAtEnd() {
    static const bool isRegistered = std::atexit(restoreScreen) == 0;
    static_cast<void>(isRegistered);
}

bool switchSequencesOn() {
    const HANDLE output = ::GetStdHandle(STD_OUTPUT_HANDLE);
    DWORD mode = 0;
    if (::GetConsoleMode(output, &mode) == 0 ||
        ::SetConsoleMode(output, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) == 0) {
        return false;
    }
    former.mode = mode;
    restoreScreenAtEnd();
    // A program that goes on after Ctrl-C shows no sequences, so it does not come here.
    ::SetConsoleCtrlHandler(restoreBeforeTheEnd, TRUE);
    return true;
}

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

void useUtf8OnScreen() {
    if (!former.encoding) {
        former.encoding = ::GetConsoleOutputCP();
        restoreScreenAtEnd();
    }
    ::SetConsoleOutputCP(CP_UTF8);
}

/// UTF-8 on the screen, and no translation of line ends on the way there. Never destroyed: detached
/// threads may still write while the process ends.
std::ostream* openStream(std::FILE* file, DWORD handleName, std::ostream& elsewhere) {
    ::_setmode(::_fileno(file), _O_BINARY);
    const HANDLE output = ::GetStdHandle(handleName);
    DWORD mode = 0;
    if (::GetConsoleMode(output, &mode) == 0) {
        return &elsewhere;
    }
    useUtf8OnScreen();
    return new std::ostream(new ScreenBuffer(output));
}

} // namespace

std::ostream& standardOutput() {
    static std::ostream& stream = *openStream(stdout, STD_OUTPUT_HANDLE, std::cout);
    return stream;
}

std::ostream& standardErrors() {
    static std::ostream& stream = *openStream(stderr, STD_ERROR_HANDLE, std::cerr);
    return stream;
}

bool isOutputTerminal() {
    static const bool isTerminal = switchSequencesOn();
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
