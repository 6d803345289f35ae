#include "platform/windows/HandleOutput.hpp"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace Quarlen::Platform {

namespace {

bool isContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

/// How many bytes a character has that begins with this one.
std::size_t characterSize(char first) {
    const auto byte = static_cast<unsigned char>(first);
    if (byte < 0xC0U) {
        return 1;
    }
    return byte < 0xE0U ? 2 : byte < 0xF0U ? 3 : 4;
}

/// Where a character begins that the text does not end; the text's size where there is none.
std::size_t endOfCharacters(std::string_view text) {
    std::size_t back = 1;
    while (back < std::min<std::size_t>(text.size(), 4) &&
           isContinuation(text[text.size() - back])) {
        ++back;
    }
    const bool isWhole = text.empty() || characterSize(text[text.size() - back]) <= back;
    return isWhole ? text.size() : text.size() - back;
}

/// Bytes that are no UTF-8 show as the replacement character.
std::wstring toUnits(std::string_view text) {
    const int size = static_cast<int>(text.size());
    const int count = ::MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0);
    std::wstring units(static_cast<std::size_t>(count), L'\0');
    ::MultiByteToWideChar(CP_UTF8, 0, text.data(), size, units.data(), count);
    return units;
}

/// The first piece; it does not end between the two units of a character.
std::wstring_view firstPiece(std::wstring_view units) {
    if (units.size() <= HandleOutput::pieceUnits) {
        return units;
    }
    const bool isSplit = IS_HIGH_SURROGATE(units[HandleOutput::pieceUnits - 1]);
    return units.substr(0, HandleOutput::pieceUnits - (isSplit ? 1 : 0));
}

/// In the words of the C library, as the sink's contract says.
void tellWhetherTheReaderHasGone() {
    const DWORD cause = ::GetLastError();
    errno = cause == ERROR_BROKEN_PIPE || cause == ERROR_NO_DATA ? EPIPE : EIO;
}

} // namespace

HandleOutput::HandleOutput(DWORD name, ConsoleModes& modes, ConsoleCalls calls)
    : name(name), modes(modes), calls(std::move(calls)) {}

bool HandleOutput::isScreen() const {
    DWORD mode = 0;
    return calls.getMode(::GetStdHandle(name), &mode) != 0;
}

bool HandleOutput::write(std::string_view text) {
    const HANDLE output = ::GetStdHandle(name);
    DWORD mode = 0;
    if (calls.getMode(output, &mode) == 0) {
        return writeBytes(output, text);
    }
    takeScreen(modes, output);
    return show(output, text);
}

bool HandleOutput::show(HANDLE screen, std::string_view text) {
    const std::string whole = std::exchange(begun, {}) + lineEnds.withReturns(text);
    const std::size_t end = endOfCharacters(whole);
    begun = whole.substr(end);
    return showUnits(screen, toUnits(std::string_view(whole).substr(0, end)));
}

bool HandleOutput::showUnits(HANDLE screen, std::wstring_view units) {
    while (!units.empty()) {
        const std::wstring_view piece = firstPiece(units);
        DWORD count = 0;
        if (calls.writeText(screen, piece.data(), static_cast<DWORD>(piece.size()), &count) == 0 ||
            count == 0) {
            return false;
        }
        units.remove_prefix(std::min<std::size_t>(count, piece.size()));
    }
    return true;
}

/// A pipe that does not block takes nothing when it is full, and calls that a success.
bool HandleOutput::writeBytes(HANDLE file, std::string_view bytes) {
    while (!bytes.empty()) {
        DWORD count = 0;
        if (calls.writeBytes(file, bytes.data(), static_cast<DWORD>(bytes.size()), &count) == 0 ||
            count == 0) {
            tellWhetherTheReaderHasGone();
            return false;
        }
        bytes.remove_prefix(std::min<std::size_t>(count, bytes.size()));
    }
    return true;
}

} // namespace Quarlen::Platform
