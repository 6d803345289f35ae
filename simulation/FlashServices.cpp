#include "simulation/FlashServices.hpp"

#include <utility>

#include "uds/Identifiers.hpp"

namespace Quarlen::Simulation {

FlashServices::FlashServices(const std::vector<FlashMemoryDescription>& descriptions,
                             DataIdentifiers& data)
    : data(data), programming(descriptions) {}

bool FlashServices::owns(std::uint64_t routine) noexcept {
    return routine == Uds::Routine::eraseMemory || routine == Uds::Routine::checkMemory ||
           routine == Uds::Routine::checkProgrammingDependencies;
}

ServiceReply FlashServices::runRoutine(const Uds::Bytes& request, const AccessState& access) {
    if (!hasMemory() || !access.inSession(Uds::Session::Programming)) {
        return Uds::Nrc::RequestOutOfRange;
    }
    if (!isUnlocked(access)) {
        return Uds::Nrc::SecurityAccessDenied;
    }
    if (request[1] != Uds::RoutineControlType::startRoutine) {
        return Uds::Nrc::SubFunctionNotSupported;
    }
    const auto routine = Uds::numberAt(request, 2, 2);
    return routine == Uds::Routine::eraseMemory   ? erase(request)
           : routine == Uds::Routine::checkMemory ? checkMemory(request)
                                                  : checkDependencies(request);
}

ServiceReply FlashServices::readMemory(const Uds::Bytes& request, const AccessState& access) {
    if (!isUnlocked(access)) {
        return Uds::Nrc::SecurityAccessDenied;
    }
    return programming.readMemory(request);
}

ServiceReply FlashServices::requestDownload(const Uds::Bytes& request, const AccessState& access) {
    if (!isUnlocked(access)) {
        return Uds::Nrc::SecurityAccessDenied;
    }
    return programming.requestDownload(request);
}

ServiceReply FlashServices::transferData(const Uds::Bytes& request) {
    return programming.transferData(request);
}

ServiceReply FlashServices::transferExit(const Uds::Bytes& request) {
    return programming.transferExit(request);
}

Uds::Bytes FlashServices::content(const MemoryRegion& region) const {
    return programming.memory().content(region);
}

bool FlashServices::isUnlocked(const AccessState& access) const noexcept {
    return access.unlocked(programming.memory().securityLevel());
}

ServiceReply FlashServices::erase(const Uds::Bytes& request) {
    auto reply = programming.erase(request);
    if (!reply.refusal) {
        data.invalidate(Uds::Did::softwareVersion);
    }
    return reply;
}

/// The result is one byte: 0 when the software is complete, 1 when it is not.
ServiceReply FlashServices::checkDependencies(const Uds::Bytes& request) const {
    if (request.size() != 4) {
        return Uds::Nrc::IncorrectMessageLengthOrInvalidFormat;
    }
    auto response = positiveResponse(Uds::Service::RoutineControl);
    response.insert(response.end(), request.begin() + 1, request.end());
    response.push_back(data.isInvalid(Uds::Did::softwareVersion) ? 0x01 : 0x00);
    return response;
}

ServiceReply FlashServices::checkMemory(const Uds::Bytes& request) {
    auto reply = programming.check(request);
    if (auto version = programming.takeNewSoftwareVersion()) {
        data.set(Uds::Did::softwareVersion, std::move(*version));
    }
    return reply;
}

} // namespace Quarlen::Simulation
