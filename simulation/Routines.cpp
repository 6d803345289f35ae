#include "simulation/Routines.hpp"

#include <utility>

#include "uds/Identifiers.hpp"

namespace Quarlen::Simulation {

namespace {

constexpr std::size_t requestLength = 4;

} // namespace

Routines::Routines(const std::vector<RoutineDescription>& descriptions) {
    for (const auto& description : descriptions) {
        routines.emplace(description.id, Routine{description});
    }
}

ServiceReply Routines::control(const Uds::Bytes& request, const AccessState& access) {
    const auto found = routines.find(static_cast<std::uint16_t>(Uds::numberAt(request, 2, 2)));
    if (found == routines.end() || !access.inSession(found->second.description.access.session)) {
        return Uds::Nrc::RequestOutOfRange;
    }
    auto& [description, hasRun] = found->second;
    if (!access.unlocked(description.access.securityLevel)) {
        return Uds::Nrc::SecurityAccessDenied;
    }
    const bool starts = request[1] == Uds::RoutineControlType::startRoutine;
    if (!starts && request[1] != Uds::RoutineControlType::requestRoutineResults) {
        return Uds::Nrc::SubFunctionNotSupported;
    }
    if (request.size() != requestLength) {
        return Uds::Nrc::IncorrectMessageLengthOrInvalidFormat;
    }
    if (!starts && !hasRun) {
        return Uds::Nrc::RequestSequenceError;
    }
    hasRun = true;
    auto response = positiveResponse(Uds::Service::RoutineControl);
    response.insert(response.end(), request.begin() + 1, request.end());
    response.insert(response.end(), description.result.begin(), description.result.end());
    ServiceReply reply(std::move(response));
    reply.duration = starts ? description.duration : std::chrono::milliseconds{0};
    return reply;
}

} // namespace Quarlen::Simulation
