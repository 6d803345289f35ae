#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <utility>

namespace Quarlen::Kel_cpp {

/// The only exception that the facade throws. The message is meant for people and names what
/// failed and why; the code is the runtime's own number for the failure.
class KelApiException : public std::exception {
public:
    KelApiException(std::wstring text, std::int32_t number)
        : messageText(std::move(text)), codeNumber(number) {}

    [[nodiscard]] const std::wstring& message() const noexcept { return messageText; }
    [[nodiscard]] std::int32_t code() const noexcept { return codeNumber; }
    [[nodiscard]] const char* what() const noexcept override { return "KelApiException"; }

private:
    std::wstring messageText;
    std::int32_t codeNumber;
};

} // namespace Quarlen::Kel_cpp
