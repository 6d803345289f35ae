#include "simulation/FlashServices.hpp"

#include <utility>

#include "uds/Identifiers.hpp"

namespace Quarlen::Simulation {

FlashServices::FlashServices(const std::vector<FlashMemoryDescription>& descriptions,
                             DataIdentifiers& data)
    : data(data), programming(descriptions) {}

bool FlashServices::owns(std::uint64_t routine) noexcept {
    return routine == Uds::Routine::eraseMemory || routine == Uds::Routine::checkMemory;
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
    return Uds::numberAt(request, 2, 2) == Uds::Routine::eraseMemory ? programming.erase(request)
                                                                     : checkMemory(request);
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

ServiceReply FlashServices::checkMemory(const Uds::Bytes& request) {
    auto reply = programming.check(request);
    if (auto version = programming.takeNewSoftwareVersion()) {
        data.set(Uds::Did::softwareVersion, std::move(*version));
    }
    return reply;
}

} // namespace Quarlen::Simulation
