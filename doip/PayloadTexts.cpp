#include <array>
#include <cwctype>
#include <span>
#include <string_view>
#include <utility>

#include "doip/Payloads.hpp"

namespace Quarlen::Doip {

namespace {

using CodeName = std::pair<std::uint8_t, const wchar_t*>;

std::wstring codeText(std::span<const CodeName> names, std::uint8_t code, const wchar_t* other) {
    const wchar_t* name = other;
    for (const auto& [number, text] : names) {
        name = number == code ? text : name;
    }
    return name + (L" (" + Uds::hexNumberText(code, 2)) + L")";
}

constexpr std::array<CodeName, 10> routingCodeNames{{
    {0x00, L"unknown source address"},
    {0x01, L"all sockets are taken"},
    {0x02, L"another source address is active on this socket"},
    {0x03, L"the source address is in use on another socket"},
    {0x04, L"authentication is missing"},
    {0x05, L"the confirmation was rejected"},
    {0x06, L"unsupported routing activation type"},
    {0x07, L"a secure connection (TLS) is required"},
    {0x10, L"routing is active"},
    {0x11, L"routing will be active after a confirmation in the vehicle"},
}};

constexpr std::array<CodeName, 7> diagnosticNackNames{{
    {0x02, L"invalid source address"},
    {0x03, L"unknown target address"},
    {0x04, L"message too large"},
    {0x05, L"out of memory"},
    {0x06, L"target unreachable"},
    {0x07, L"unknown network"},
    {0x08, L"transport protocol error"},
}};

constexpr std::array<CodeName, 5> headerNackNames{{
    {0x00, L"incorrect pattern format"},
    {0x01, L"unknown payload type"},
    {0x02, L"message too large"},
    {0x03, L"out of memory"},
    {0x04, L"invalid payload length"},
}};

constexpr std::array<CodeName, 2> furtherActionNames{{
    {0x00, L"none"},
    {0x10, L"routing activation of type 0xE0 (central security)"},
}};

constexpr std::array<CodeName, 3> powerModeNames{{
    {0x00, L"not ready"},
    {0x01, L"ready"},
    {0x02, L"not supported"},
}};

/// Negative where it is no hexadecimal digit.
int digitOf(wchar_t character) {
    constexpr std::wstring_view digits = L"0123456789ABCDEF";
    const auto place =
        digits.find(static_cast<wchar_t>(std::towupper(static_cast<std::wint_t>(character))));
    return place == std::wstring_view::npos ? -1 : static_cast<int>(place);
}

} // namespace

std::wstring routingCodeText(std::uint8_t code) {
    constexpr std::uint8_t firstOfManufacturer = 0xE0;
    return codeText(routingCodeNames, code,
                    code >= firstOfManufacturer && code != 0xFF ? L"a reason of the manufacturer's"
                                                                : L"a reserved code");
}

std::wstring diagnosticNackText(std::uint8_t code) {
    return codeText(diagnosticNackNames, code, L"a reserved code");
}

std::wstring headerNackText(std::uint8_t code) {
    return codeText(headerNackNames, code, L"a reserved code");
}

std::wstring furtherActionText(std::uint8_t action) {
    constexpr std::uint8_t firstOfManufacturer = 0x11;
    return codeText(furtherActionNames, action,
                    action >= firstOfManufacturer ? L"an action of the manufacturer's"
                                                  : L"a reserved action");
}

std::wstring powerModeText(std::uint8_t mode) {
    return codeText(powerModeNames, mode, L"a reserved mode");
}

std::wstring addressText(std::uint16_t logicalAddress) {
    return Uds::hexNumberText(logicalAddress, 4);
}

std::wstring entityIdText(const EntityId& id) {
    std::wstring text;
    for (const std::uint8_t byte : id) {
        text += (text.empty() ? L"" : L":") + Uds::hexText({byte});
    }
    return text;
}

std::optional<EntityId> entityIdFrom(const std::wstring& text) {
    EntityId id{};
    constexpr std::size_t pairSize = 3;
    if (text.size() != id.size() * pairSize - 1) {
        return {};
    }
    for (std::size_t index = 0; index < id.size(); ++index) {
        const std::size_t place = index * pairSize;
        const int high = digitOf(text[place]);
        const int low = digitOf(text[place + 1]);
        const bool ends = place + 2 == text.size() || text[place + 2] == L':';
        if (high < 0 || low < 0 || !ends) {
            return {};
        }
        id.at(index) = static_cast<std::uint8_t>(high * 16 + low);
    }
    return id;
}

} // namespace Quarlen::Doip
