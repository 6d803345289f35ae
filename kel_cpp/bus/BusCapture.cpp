#include "kel_cpp/bus/BusCapture.hpp"

#include <algorithm>
#include <string_view>
#include <system_error>
#include <utility>

#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "kel_cpp/bus/BusAddresses.hpp"
#include "std_util/TraceHelper.hpp"

namespace Quarlen::Kel_cpp {

namespace {

using Kind = Uds::BusEvent::Kind;

/// Bytes of one file, and how many full ones are kept.
constexpr std::uint64_t maxCaptureSize = std::uint64_t{64} * 1024 * 1024;
constexpr std::size_t formerCaptures = 1;
constexpr std::uint64_t growthBetweenAttempts = std::uint64_t{1024} * 1024;
/// Longer messages are cut, as a capture of a network does it: a flash has blocks of megabytes.
constexpr std::size_t maxCapturedBytes = 65'535;

std::string little(std::uint64_t value, std::size_t count) {
    std::string bytes;
    for (std::size_t index = 0; index < count; ++index) {
        bytes.push_back(static_cast<char>((value >> (8U * index)) & 0xFFU));
    }
    return bytes;
}

std::string big(std::uint64_t value, std::size_t count) {
    std::string bytes = little(value, count);
    std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

std::string padded(std::string bytes) {
    bytes.resize((bytes.size() + 3U) / 4U * 4U, '\0');
    return bytes;
}

std::string block(std::uint32_t type, const std::string& content) {
    constexpr std::size_t frame = 12;
    const std::string body = padded(content);
    const std::string length = little(body.size() + frame, 4);
    return little(type, 4) + length + body + length;
}

/// A section header and one interface, whose packets say themselves how they are to be read
/// (LINKTYPE_WIRESHARK_UPPER_PDU).
std::string beginningOfFile() {
    constexpr std::uint32_t sectionHeader = 0x0A0D0D0A;
    constexpr std::uint32_t interfaceDescription = 1;
    constexpr std::uint32_t byteOrder = 0x1A2B3C4D;
    constexpr std::uint16_t upperPdu = 252;
    return block(sectionHeader,
                 little(byteOrder, 4) + little(1, 2) + little(0, 2) + std::string(8, '\xFF')) +
           block(interfaceDescription, little(upperPdu, 2) + little(0, 2) + little(0, 4));
}

/// The name of the protocol, then the end of the tags.
std::string upperPduTags() {
    constexpr std::uint16_t protocolName = 12;
    const std::string name = padded("doip");
    return big(protocolName, 2) + big(name.size(), 2) + name + big(0, 4);
}

/// The message as ISO 13400-2 carries it: header, source and target address.
std::string diagnosticMessage(std::uint16_t source, std::uint16_t target, std::size_t size) {
    constexpr std::uint8_t version = 0x03; // ISO 13400-2:2019
    constexpr std::uint16_t diagnosticMessageType = 0x8001;
    constexpr std::size_t addresses = 4;
    return big(version, 1) + big(0xFFU - version, 1) + big(diagnosticMessageType, 2) +
           big(size + addresses, 4) + big(source, 2) + big(target, 2);
}

} // namespace

BusCapture::BusCapture(const std::filesystem::path& folder, Now now)
    : now(std::move(now)),
      file(folder / "bus.pcapng",
           {maxCaptureSize, formerCaptures, growthBetweenAttempts, beginningOfFile()}) {}

void BusCapture::take(const Uds::BusEvent& event) {
    const bool isMessage = event.kind == Kind::Request || event.kind == Kind::KeepAlive ||
                           event.kind == Kind::Response;
    const std::lock_guard lock(mutex);
    if (!isMessage || failed) {
        return;
    }
    try {
        file.write(packetOf(event));
    } catch (const std::system_error&) {
        failed = true;
        StdUtil::TraceHelper::ErrorTrace(L"kel_cpp/bus/BusCapture", __LINE__,
                                         L"the capture of the bus ends: %s",
                                         currentExceptionText().c_str());
    }
}

std::string BusCapture::packetOf(const Uds::BusEvent& event) const {
    constexpr std::uint32_t enhancedPacket = 6;
    const std::uint16_t tester = testerOf(event.unit);
    const std::uint16_t unit = otherEndOf(event.unit).value_or(std::uint16_t{0});
    const bool comes = event.kind == Kind::Response;
    std::string whole =
        upperPduTags() +
        diagnosticMessage(comes ? unit : tester, comes ? tester : unit, event.bytes.size());
    const std::size_t kept = std::min(event.bytes.size(), maxCapturedBytes);
    const std::size_t length = whole.size() + event.bytes.size();
    whole.append(event.bytes.begin(), event.bytes.begin() + static_cast<std::ptrdiff_t>(kept));
    const auto micros = static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(now().time_since_epoch()).count());
    return block(enhancedPacket, little(0, 4) + little(micros >> 32U, 4) +
                                     little(micros & 0xFFFFFFFFU, 4) + little(whole.size(), 4) +
                                     little(length, 4) + whole);
}

} // namespace Quarlen::Kel_cpp
