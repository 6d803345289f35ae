#include "platform/KeyReader.hpp"

#include <windows.h>

#include "platform/windows/ConsoleModes.hpp"

namespace Quarlen::Platform {
namespace {

/// Reads single keys without echo and without waiting for Enter. `_getch` does not serve: the 0 and
/// 0xE0 that it puts in front of a function key's code are letters as well, and Alt+F10 has the
/// code of "q".
class ConsoleKeys final : public KeyReader {
public:
    explicit ConsoleKeys(HANDLE input) : input(input) {}

    std::optional<int> readKey() override {
        INPUT_RECORD record{};
        DWORD count = 0;
        while (::ReadConsoleInputW(input, &record, 1, &count) != 0 && count == 1) {
            const KEY_EVENT_RECORD& key = record.Event.KeyEvent;
            if (record.EventType == KEY_EVENT && key.bKeyDown != 0 && key.uChar.UnicodeChar != 0) {
                return static_cast<int>(key.uChar.UnicodeChar);
            }
        }
        return std::nullopt;
    }

private:
    HANDLE input;
};

/// Standard input from a file or a pipe, or none at all.
class RedirectedKeys final : public KeyReader {
public:
    explicit RedirectedKeys(HANDLE input) : input(input) {}

    std::optional<int> readKey() override {
        unsigned char key = 0;
        DWORD count = 0;
        if (::ReadFile(input, &key, 1, &count, nullptr) == 0 || count == 0) {
            return std::nullopt;
        }
        return key;
    }

private:
    HANDLE input;
};

} // namespace

std::unique_ptr<KeyReader> openConsoleKeys() {
    const HANDLE input = ::GetStdHandle(STD_INPUT_HANDLE);
    DWORD mode = 0;
    if (::GetConsoleMode(input, &mode) != 0) {
        takeKeys(consoleModes(), input);
        return std::make_unique<ConsoleKeys>(input);
    }
    return std::make_unique<RedirectedKeys>(input);
}

void keepClicksHarmless() {
    takeQuickEdit(consoleModes(), ::GetStdHandle(STD_INPUT_HANDLE));
}

} // namespace Quarlen::Platform
