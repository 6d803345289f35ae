#include "platform/KeyReader.hpp"

#include <conio.h>
#include <cwchar>
#include <windows.h>

namespace Quarlen::Platform {
namespace {

/// What the console gives as the first of two values for a function or arrow key.
constexpr wint_t extendedKey = 0xE0;

/// The console needs no change of mode: its key input neither echoes nor waits for Enter.
class ConsoleKeys final : public KeyReader {
public:
    std::optional<int> readKey() override {
        const wint_t key = ::_getwch();
        if (key == 0 || key == extendedKey) {
            ::_getwch(); // the key's code, which must not be taken for a letter
            return 0;
        }
        return key == WEOF ? std::nullopt : std::optional<int>(static_cast<int>(key));
    }
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
        return std::make_unique<ConsoleKeys>();
    }
    return std::make_unique<RedirectedKeys>(input);
}

} // namespace Quarlen::Platform
