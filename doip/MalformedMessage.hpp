#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

namespace Quarlen::Doip {

/// Generic header negative acknowledge codes (ISO 13400-2:2019, table 19).
enum class HeaderNackCode : std::uint8_t {
    IncorrectPattern = 0x00,
    UnknownPayloadType = 0x01,
    MessageTooLarge = 0x02,
    OutOfMemory = 0x03,
    InvalidPayloadLength = 0x04,
};

/// What arrived is no message of ISO 13400-2. The message says what was found and what was
/// expected; the code is what a vehicle tells its tester about it.
class MalformedMessage : public std::runtime_error {
public:
    MalformedMessage(HeaderNackCode code, std::wstring text)
        : std::runtime_error("MalformedMessage"), nackCode(code), messageText(std::move(text)) {}
    [[nodiscard]] HeaderNackCode code() const noexcept { return nackCode; }
    [[nodiscard]] const std::wstring& message() const noexcept { return messageText; }

private:
    HeaderNackCode nackCode;
    std::wstring messageText;
};

} // namespace Quarlen::Doip
