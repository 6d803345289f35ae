#include "simulation/DataIdentifiers.hpp"

#include <algorithm>
#include <utility>

#include "uds/Identifiers.hpp"

namespace Quarlen::Simulation {

namespace {

namespace Control = Uds::InputOutputControl;

/// Service identifier, data identifier, inputOutputControlParameter.
constexpr std::size_t controlHeader = 4;

} // namespace

DataIdentifiers::DataIdentifiers(const std::vector<DataIdentifierDescription>& descriptions) {
    for (const auto& description : descriptions) {
        entries.emplace(description.id, Entry{description});
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
        if (entry->second.invalid) {
            return Uds::Nrc::ConditionsNotCorrect;
        }
        const auto& value = entry->second.shown();
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
    if (entry == entries.end() || !entry->second.description.writable ||
        !access.inSession(entry->second.description.writeAccess.session)) {
        return Uds::Nrc::RequestOutOfRange;
    }
    auto& value = entry->second.description.value;
    if (request.size() != 3 + value.size()) {
        return Uds::Nrc::IncorrectMessageLengthOrInvalidFormat;
    }
    if (!access.unlocked(entry->second.description.writeAccess.securityLevel)) {
        return Uds::Nrc::SecurityAccessDenied;
    }
    value.assign(request.begin() + 3, request.end());
    auto response = positiveResponse(Uds::Service::WriteDataByIdentifier);
    Uds::appendNumber(response, entry->first, 2);
    return response;
}

bool DataIdentifiers::areControllable() const noexcept {
    return std::any_of(entries.begin(), entries.end(),
                       [](const auto& entry) { return entry.second.description.controllable; });
}

ServiceReply DataIdentifiers::control(const Uds::Bytes& request, const AccessState& access) {
    if (request.size() < controlHeader) {
        return Uds::Nrc::IncorrectMessageLengthOrInvalidFormat;
    }
    const auto entry = entries.find(static_cast<std::uint16_t>(Uds::numberAt(request, 1, 2)));
    if (entry == entries.end() || !entry->second.description.controllable ||
        !access.inSession(entry->second.description.writeAccess.session)) {
        return Uds::Nrc::RequestOutOfRange;
    }
    if (!access.unlocked(entry->second.description.writeAccess.securityLevel)) {
        return Uds::Nrc::SecurityAccessDenied;
    }
    auto reply = controlEntry(entry->second, request);
    if (!reply.refusal) {
        const auto& value = entry->second.shown();
        reply.response.insert(reply.response.end(), value.begin(), value.end());
    }
    return reply;
}

/// A whole value is controlled at a time: there is no controlMask (clause 13.2.2).
ServiceReply DataIdentifiers::controlEntry(Entry& entry, const Uds::Bytes& request) {
    const auto parameter = request[controlHeader - 1];
    const bool adjusts = parameter == Control::shortTermAdjustment;
    if (!adjusts && parameter != Control::returnControlToEcu &&
        parameter != Control::freezeCurrentState) {
        return Uds::Nrc::RequestOutOfRange;
    }
    if (request.size() != controlHeader + (adjusts ? entry.description.value.size() : 0)) {
        return Uds::Nrc::IncorrectMessageLengthOrInvalidFormat;
    }
    if (parameter == Control::returnControlToEcu) {
        entry.controlled.reset();
    } else if (adjusts) {
        entry.controlled.emplace(request.begin() + controlHeader, request.end());
    } else {
        entry.controlled = entry.shown();
    }
    auto response = positiveResponse(Uds::Service::InputOutputControlByIdentifier);
    response.insert(response.end(), request.begin() + 1, request.begin() + controlHeader);
    return response;
}

void DataIdentifiers::returnControl() {
    for (auto& [id, entry] : entries) {
        entry.controlled.reset();
    }
}

void DataIdentifiers::set(std::uint16_t id, Uds::Bytes value) {
    auto& entry = entries[id];
    entry.description.id = id;
    entry.description.value = std::move(value);
    entry.invalid = false;
}

void DataIdentifiers::invalidate(std::uint16_t id) {
    auto& entry = entries[id];
    entry.description.id = id;
    entry.invalid = true;
}

bool DataIdentifiers::isInvalid(std::uint16_t id) const {
    const auto entry = entries.find(id);
    return entry != entries.end() && entry->second.invalid;
}

} // namespace Quarlen::Simulation
