#include "tools/kel_vehicle/entity/Inbox.hpp"

#include <algorithm>
#include <array>
#include <utility>

#include "tools/kel_vehicle/entity/EntityLimits.hpp"

namespace Quarlen::KelVehicle {

namespace {

using Doip::HeaderNackCode;
using Doip::PayloadType;

/// What a tester sends over TCP (ISO 13400-2:2019, table 17).
bool comesOverTcp(std::uint16_t type) {
    constexpr std::array types{PayloadType::HeaderNack, PayloadType::RoutingActivationRequest,
                               PayloadType::AliveCheckResponse, PayloadType::DiagnosticMessage};
    return std::find(types.begin(), types.end(), static_cast<PayloadType>(type)) != types.end();
}

} // namespace

bool isServedVersion(std::uint8_t version) noexcept {
    return version >= Doip::version2012 && version <= Doip::version2025;
}

bool InboxBudget::take(std::size_t bytes) noexcept {
    if (bytes > left) {
        return false;
    }
    left -= bytes;
    return true;
}

void Inbox::add(std::span<const std::uint8_t> bytes) {
    arrived.erase(arrived.begin(), arrived.begin() + static_cast<std::ptrdiff_t>(position));
    position = 0;
    arrived.insert(arrived.end(), bytes.begin(), bytes.end());
}

std::span<const std::uint8_t> Inbox::rest() const {
    return std::span(arrived).subspan(position);
}

std::optional<Inbox::Item> Inbox::next() {
    dropRefused();
    if (!header) {
        if (toDrop > 0 || !readHeader()) {
            return {};
        }
        if (auto fault = beginPayload()) {
            return std::move(*fault);
        }
    }
    const auto bytes = rest().first(std::min(rest().size(), header->length - payload.size()));
    payload.insert(payload.end(), bytes.begin(), bytes.end());
    position += bytes.size();
    if (payload.size() < header->length) {
        return {};
    }
    return takeMessage();
}

void Inbox::dropRefused() {
    const auto dropped = std::min<std::uint64_t>(rest().size(), toDrop);
    position += static_cast<std::size_t>(dropped);
    toDrop -= dropped;
}

/// True once all bytes of a header are there.
bool Inbox::readHeader() {
    const auto bytes = rest().first(std::min(rest().size(), Doip::headerSize - headerCount));
    std::copy(bytes.begin(), bytes.end(),
              headerBytes.begin() + static_cast<std::ptrdiff_t>(headerCount));
    headerCount += bytes.size();
    position += bytes.size();
    return headerCount == Doip::headerSize;
}

std::optional<HeaderFault> Inbox::beginPayload() {
    headerCount = 0;
    Doip::Header read;
    try {
        read = Doip::decodeHeader(headerBytes);
    } catch (const Doip::MalformedMessage& fault) {
        return HeaderFault{fault.code(), Doip::version2019, 0, fault.message()};
    }
    if (auto refusal = refusalOf(read)) {
        toDrop = read.length;
        return refusal;
    }
    header = read;
    payload.reserve(read.length);
    return {};
}

/// In the order of the standard's generic header handler (clause 7.1.3, figure 6).
std::optional<HeaderFault> Inbox::refusalOf(const Doip::Header& checked) {
    const auto fault = [&](HeaderNackCode code, std::wstring cause) {
        return HeaderFault{code, checked.version, checked.type, std::move(cause)};
    };
    if (!isServedVersion(checked.version)) {
        return HeaderFault{HeaderNackCode::IncorrectPattern, Doip::version2019, checked.type,
                           L"protocol version " + Uds::hexNumberText(checked.version, 2) +
                               L", expected 0x02 to 0x04"};
    }
    if (!comesOverTcp(checked.type)) {
        return fault(HeaderNackCode::UnknownPayloadType,
                     Doip::payloadTypeText(checked.type) + L" over TCP");
    }
    const auto announced = [&] {
        return Doip::payloadTypeText(checked.type) + L" of " + std::to_wstring(checked.length) +
               L" bytes";
    };
    if (checked.length > maxPayload) {
        return fault(HeaderNackCode::MessageTooLarge, announced());
    }
    if (!budget.take(checked.length)) {
        return fault(HeaderNackCode::OutOfMemory, announced());
    }
    taken = checked.length;
    return {};
}

Doip::Message Inbox::takeMessage() {
    Doip::Message message{header->version, header->type, std::move(payload)};
    payload = {};
    header.reset();
    giveBack();
    return message;
}

void Inbox::giveBack() noexcept {
    budget.giveBack(std::exchange(taken, 0));
}

} // namespace Quarlen::KelVehicle
