#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <span>

#include "doip/MessageReader.hpp"
#include "doip/Payloads.hpp"

namespace {

using namespace Quarlen;
using Uds::Bytes;

/// Of one payload that a reader takes here.
constexpr std::size_t maxPayload = 512;

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

/// What was decoded is written as it came, but for what nobody has to say in one way: reserved
/// bytes and identifiers that are not set. Written once, it stays as it is.
template <class Decode, class Encode>
void check(const Bytes& payload, Decode decode, Encode encode) {
    try {
        const Bytes written = encode(decode(payload));
        require(written.size() == payload.size());
        require(encode(decode(written)) == written);
    } catch (const Doip::MalformedMessage& error) {
        require(error.code() == Doip::HeaderNackCode::InvalidPayloadLength);
        require(!error.message().empty());
    }
}

template <class Decode, class Encode>
void checkExactly(const Bytes& payload, Decode decode, Encode encode) {
    check(payload, decode, encode);
    try {
        require(encode(decode(payload)) == payload);
    } catch (const Doip::MalformedMessage&) { // Of another length.
    }
}

const auto encodeValue = [](const auto& value) { return Doip::encode(value); };

void checkPayloads(const Bytes& payload) {
    check(payload, Doip::decodeVehicleAnnouncement, encodeValue);
    check(payload, Doip::decodeVin, Doip::encodeVin);
    check(payload, Doip::decodeRoutingActivationRequest, encodeValue);
    check(payload, Doip::decodeRoutingActivationResponse, encodeValue);
    check(payload, Doip::decodeEntityStatus, encodeValue);
    checkExactly(payload, Doip::decodeEid, Doip::encodeEid);
    checkExactly(payload, Doip::decodeAddress, Doip::encodeAddress);
    checkExactly(payload, Doip::decodeDiagnosticMessage, encodeValue);
    checkExactly(payload, Doip::decodeDiagnosticAck, encodeValue);
    checkExactly(payload, Doip::decodeDiagnosticNack, encodeValue);
    checkExactly(payload, Doip::decodePowerMode, [](auto mode) { return Bytes{mode}; });
    checkExactly(payload, Doip::decodeHeaderNack, [](auto code) { return Bytes{code}; });
}

Bytes onTheWire(const Doip::Message& message) {
    return Doip::encode(static_cast<Doip::PayloadType>(message.type), message.payload,
                        message.version);
}

/// What a stream says, in pieces of so many bytes: the bytes of its messages, and whether it ended
/// with one that is none.
struct Heard {
    Bytes messages{};
    bool isRefused = false;

    bool operator==(const Heard&) const = default;
};

void takeAll(Doip::MessageReader& reader, Heard& heard) {
    while (const auto message = reader.next()) {
        require(message->payload.size() <= maxPayload);
        const Bytes whole = onTheWire(*message);
        heard.messages.insert(heard.messages.end(), whole.begin(), whole.end());
        checkPayloads(message->payload);
    }
}

Heard listen(std::span<const std::uint8_t> stream, std::size_t pieceSize) {
    Doip::MessageReader reader(maxPayload);
    Heard heard;
    try {
        while (!stream.empty()) {
            const auto piece = stream.first(std::min(pieceSize, stream.size()));
            stream = stream.subspan(piece.size());
            reader.add(piece);
            takeAll(reader, heard);
        }
    } catch (const Doip::MalformedMessage& error) {
        require(!error.message().empty());
        heard.isRefused = true;
    }
    return heard;
}

void checkStream(std::span<const std::uint8_t> stream) {
    const Heard whole = listen(stream, stream.size());
    require(std::equal(whole.messages.begin(), whole.messages.end(), stream.begin()));
    require(listen(stream, 1) == whole);
    require(listen(stream, 7) == whole);
}

void checkDatagram(std::span<const std::uint8_t> datagram) {
    try {
        const auto message = Doip::decodeDatagram(datagram);
        require(std::ranges::equal(onTheWire(message), datagram));
        checkPayloads(message.payload);
    } catch (const Doip::MalformedMessage& error) {
        require(!error.message().empty());
    }
}

} // namespace

/// Whatever arrives is taken or refused with a text, in the same way however TCP has cut it, and
/// what is taken is what was sent.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::span<const std::uint8_t> bytes(data, size);
    checkStream(bytes);
    checkDatagram(bytes);
    checkPayloads({bytes.begin(), bytes.end()});
    return 0;
}
