#pragma once

#include <string>
#include <string_view>
#include <windows.h>

#include "platform/LineEnds.hpp"
#include "platform/OutputBuffer.hpp"
#include "platform/windows/ConsoleCalls.hpp"
#include "platform/windows/ConsoleModes.hpp"

namespace Quarlen::Platform {

/// A standard stream of the process. A file or pipe gets the bytes as they are. A console gets
/// UTF-16, so that the code page of the user's shell plays no part, and "\r\n" at each line's end,
/// which begins a new line in every mode that the console may be in.
class HandleOutput final : public TextSink {
public:
    /// Consoles before Windows 10 refuse texts above 64 KiB, and UTF-16 has two bytes for a unit.
    static constexpr std::size_t pieceUnits = std::size_t{8} * 1024;

    /// `name`: `STD_OUTPUT_HANDLE` and so on, looked up at each text.
    HandleOutput(DWORD name, ConsoleModes& modes, ConsoleCalls calls = {});

    bool write(std::string_view text) override;
    [[nodiscard]] bool isScreen() const override;

private:
    /// Shows what was left of the former text and all of this one but a character that has only
    /// begun.
    bool show(HANDLE screen, std::string_view text);
    bool showUnits(HANDLE screen, std::wstring_view units);
    bool writeBytes(HANDLE file, std::string_view bytes);

    DWORD name;
    ConsoleModes& modes;
    ConsoleCalls calls;
    LineEnds lineEnds;
    /// The first bytes of a character.
    std::string begun;
};

} // namespace Quarlen::Platform
