#include "doip/MessageReader.hpp"

#include <algorithm>

namespace Quarlen::Doip {

namespace {

Header headerAt(std::span<const std::uint8_t> bytes) {
    HeaderBytes header{};
    std::copy_n(bytes.begin(), headerSize, header.begin());
    return decodeHeader(header);
}

std::wstring lengthText(std::uint64_t length) {
    return std::to_wstring(length) + L" bytes";
}

} // namespace

void MessageReader::add(std::span<const std::uint8_t> arrived) {
    buffer.erase(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(position));
    position = 0;
    buffer.insert(buffer.end(), arrived.begin(), arrived.end());
}

std::optional<Message> MessageReader::next() {
    const std::size_t available = buffer.size() - position;
    if (available < headerSize) {
        return {};
    }
    const Header header = headerAt(std::span(buffer).subspan(position));
    if (!isKnownVersion(header.version)) {
        throw MalformedMessage(HeaderNackCode::IncorrectPattern,
                               L"a header tells protocol version " +
                                   Uds::hexNumberText(header.version, 2) +
                                   L", expected 0x01 to 0x04");
    }
    if (header.length > maxPayload) {
        throw MalformedMessage(HeaderNackCode::MessageTooLarge,
                               payloadTypeText(header.type) + L" announces " +
                                   lengthText(header.length) + L", expected at most " +
                                   std::to_wstring(maxPayload));
    }
    if (available - headerSize < header.length) {
        return {};
    }
    const auto begin = buffer.begin() + static_cast<std::ptrdiff_t>(position + headerSize);
    position += headerSize + header.length;
    return Message{header.version, header.type, Bytes(begin, begin + header.length)};
}

void MessageReader::reset() noexcept {
    buffer.clear();
    position = 0;
}

bool MessageReader::isInMessage() const noexcept {
    return position < buffer.size();
}

Message decodeDatagram(std::span<const std::uint8_t> datagram) {
    if (datagram.size() < headerSize) {
        throw MalformedMessage(HeaderNackCode::InvalidPayloadLength,
                               L"a datagram has " + lengthText(datagram.size()) +
                                   L", expected a header of 8");
    }
    const Header header = headerAt(datagram);
    if (!isKnownVersion(header.version) && header.version != versionUnknown) {
        throw MalformedMessage(HeaderNackCode::IncorrectPattern,
                               L"a datagram tells protocol version " +
                                   Uds::hexNumberText(header.version, 2) +
                                   L", expected 0x01 to 0x04 or 0xFF");
    }
    const auto payload = datagram.subspan(headerSize);
    if (payload.size() != header.length) {
        throw MalformedMessage(HeaderNackCode::InvalidPayloadLength,
                               payloadTypeText(header.type) + L" announces " +
                                   lengthText(header.length) + L", but " +
                                   std::to_wstring(payload.size()) + L" came");
    }
    return {header.version, header.type, Bytes(payload.begin(), payload.end())};
}

} // namespace Quarlen::Doip
