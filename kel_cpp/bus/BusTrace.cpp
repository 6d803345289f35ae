#include "kel_cpp/bus/BusTrace.hpp"

#include <algorithm>
#include <cstddef>

#include "std_util/TraceHelper.hpp"

namespace Quarlen::Kel_cpp {

namespace {

using Kind = Uds::BusEvent::Kind;

std::wstring addressText(std::uint16_t address) {
    constexpr std::size_t digits = 4;
    std::wstring text = L"0x";
    for (std::size_t digit = digits; digit > 0; --digit) {
        text += L"0123456789ABCDEF"[(address >> (4U * (digit - 1))) & 0xFU];
    }
    return text;
}

std::wstring placeText(const Uds::UnitAddress& unit) {
    const auto address = unit.physical ? unit.physical : unit.functional;
    const std::wstring name = unit.link.empty() ? std::wstring(L"all") : unit.link;
    return address ? name + L" (" + addressText(*address) + L")" : name;
}

std::wstring bytesText(const Uds::Bytes& bytes) {
    constexpr std::size_t shown = 64;
    if (bytes.size() <= shown) {
        return Uds::hexText(bytes);
    }
    return Uds::hexText({bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(shown)}) +
           L" ... (" + std::to_wstring(bytes.size()) + L" bytes)";
}

std::wstring responseText(const Uds::Bytes& response) {
    if (!Uds::isNegative(response)) {
        return bytesText(response);
    }
    return bytesText(response) + L"  " + Uds::serviceText(response[1]) + L" refused: " +
           Uds::nrcText(response[2]);
}

} // namespace

std::wstring busLine(const Uds::BusEvent& event) {
    const std::wstring place = placeText(event.unit);
    switch (event.kind) {
    case Kind::Request:
    case Kind::KeepAlive:
        return place + L" > " + bytesText(event.bytes) + L"  " +
               (event.bytes.empty() ? L"" : Uds::serviceText(event.bytes[0]));
    case Kind::Response:
        return place + L" < " + responseText(event.bytes);
    case Kind::Silence:
        return place + L" < no response to " + bytesText(event.bytes);
    case Kind::Lost:
        return place + L" ! " + event.text;
    case Kind::Locked:
        return place + L" ! locked again: " + event.text;
    }
    return place;
}

void traceBus(const Uds::BusEvent& event) {
    // Only then is the line made.
    if (StdUtil::TraceHelper::isActive(StdUtil::TraceLevel::Debug)) {
        StdUtil::TraceHelper::DebugTrace(L"kel_cpp/bus/BusTrace", __LINE__, L"%s",
                                         busLine(event).c_str());
    }
}

} // namespace Quarlen::Kel_cpp
