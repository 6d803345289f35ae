#include "kel_cpp/bus/BusTrace.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "kel_cpp/bus/BusAddresses.hpp"
#include "std_util/TraceHelper.hpp"

namespace Quarlen::Kel_cpp {

namespace {

using Kind = Uds::BusEvent::Kind;

std::wstring addressText(std::uint16_t address) {
    return Uds::hexNumberText(address, 4);
}

std::wstring nameOf(const Uds::UnitAddress& unit) {
    return unit.link.empty() ? std::wstring(L"all") : unit.link;
}

/// Both ends and the way between them.
std::wstring wayText(const Uds::UnitAddress& unit, const wchar_t* way) {
    const auto other = otherEndOf(unit);
    return nameOf(unit) + L" " + addressText(testerOf(unit)) + way +
           (other ? addressText(*other) : std::wstring(L"?")) + L"  ";
}

std::wstring bytesText(const Uds::Bytes& bytes) {
    constexpr std::size_t shown = 64;
    if (bytes.size() <= shown) {
        return Uds::hexText(bytes);
    }
    return Uds::hexText({bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(shown)}) +
           L" ... (" + std::to_wstring(bytes.size()) + L" bytes)";
}

std::wstring requestText(const Uds::Bytes& request) {
    return request.empty() ? std::wstring()
                           : bytesText(request) + L"  " + Uds::serviceText(request[0]);
}

std::wstring responseText(const Uds::Bytes& response) {
    if (Uds::isNegative(response)) {
        const bool isPending = response[2] == static_cast<std::uint8_t>(Uds::Nrc::ResponsePending);
        return bytesText(response) + L"  " + Uds::serviceText(response[1]) +
               (isPending ? L" pending: " : L" refused: ") + Uds::nrcText(response[2]);
    }
    if (response.empty() || response[0] < Uds::positiveResponseOffset) {
        return bytesText(response);
    }
    const auto service = static_cast<std::uint8_t>(response[0] - Uds::positiveResponseOffset);
    return bytesText(response) + L"  " + Uds::serviceText(service) + L" done";
}

} // namespace

std::wstring busLine(const Uds::BusEvent& event) {
    switch (event.kind) {
    case Kind::Request:
    case Kind::KeepAlive:
        return wayText(event.unit, L" > ") + requestText(event.bytes);
    case Kind::Response:
        return wayText(event.unit, L" < ") + responseText(event.bytes);
    case Kind::Silence:
        return wayText(event.unit, L" < ") + L"no response to " + requestText(event.bytes);
    case Kind::Lost:
        return nameOf(event.unit) + L" ! " + event.text;
    case Kind::Locked:
        return nameOf(event.unit) + L" ! locked again: " + event.text;
    }
    return nameOf(event.unit);
}

void traceBus(const Uds::BusEvent& event) {
    // Only then is the line made.
    if (StdUtil::TraceHelper::isActive(StdUtil::TraceLevel::Debug)) {
        StdUtil::TraceHelper::DebugTrace(L"kel_cpp/bus/BusTrace", __LINE__, L"%s",
                                         busLine(event).c_str());
    }
}

} // namespace Quarlen::Kel_cpp
