#include "simulation/DataIdentifiers.hpp"

#include <utility>

namespace Quarlen::Simulation {

namespace {

/// Maximum size of an ISO-TP message with a 12 bit length (ISO 15765-2).
constexpr std::size_t maxResponseLength = 4095;

} // namespace

DataIdentifiers::DataIdentifiers(const std::vector<DataIdentifierDescription>& descriptions) {
    for (const auto& description : descriptions) {
        entries.emplace(description.id, description);
    }
}

ServiceReply DataIdentifiers::read(const Uds::Bytes& request) const {
    if (request.size() < 3 || request.size() % 2 == 0) {
        return Uds::Nrc::IncorrectMessageLengthOrInvalidFormat;
    }
    auto response = positiveResponse(Uds::Service::ReadDataByIdentifier);
    for (std::size_t offset = 1; offset < request.size(); offset += 2) {
        const auto id = static_cast<std::uint16_t>(Uds::numberAt(request, offset, 2));
        const auto entry = entries.find(id);
        if (entry == entries.end()) {
            continue;
        }
        const auto& value = entry->second.value;
        if (response.size() + 2 + value.size() > maxResponseLength) {
            return Uds::Nrc::ResponseTooLong;
        }
        Uds::appendNumber(response, id, 2);
        response.insert(response.end(), value.begin(), value.end());
    }
    if (response.size() == 1) {
        return Uds::Nrc::RequestOutOfRange;
    }
    return response;
}

ServiceReply DataIdentifiers::write(const Uds::Bytes& request, const AccessState& access) {
    if (request.size() < 4) {
        return Uds::Nrc::IncorrectMessageLengthOrInvalidFormat;
    }
    const auto entry = entries.find(static_cast<std::uint16_t>(Uds::numberAt(request, 1, 2)));
    if (entry == entries.end() || !entry->second.writable ||
        !access.inSession(entry->second.writeAccess.session)) {
        return Uds::Nrc::RequestOutOfRange;
    }
    auto& value = entry->second.value;
    if (request.size() != 3 + value.size()) {
        return Uds::Nrc::IncorrectMessageLengthOrInvalidFormat;
    }
    if (!access.unlocked(entry->second.writeAccess.securityLevel)) {
        return Uds::Nrc::SecurityAccessDenied;
    }
    value.assign(request.begin() + 3, request.end());
    auto response = positiveResponse(Uds::Service::WriteDataByIdentifier);
    Uds::appendNumber(response, entry->first, 2);
    return response;
}

void DataIdentifiers::set(std::uint16_t id, Uds::Bytes value) {
    auto& entry = entries[id];
    entry.id = id;
    entry.value = std::move(value);
}

} // namespace Quarlen::Simulation
