#include "kel_cpp/jobs/FlashRequests.hpp"

#include "kel_cpp/jobs/FlashFile.hpp"
#include "uds/Identifiers.hpp"

namespace Quarlen::Kel_cpp {

using Uds::Bytes;

Bytes serviceRequest(Uds::Service service, std::initializer_list<std::uint8_t> parameters) {
    Bytes request;
    request.reserve(1 + parameters.size());
    request.push_back(static_cast<std::uint8_t>(service));
    for (const std::uint8_t parameter : parameters) {
        request.push_back(parameter);
    }
    return request;
}

Bytes routineRequest(std::uint16_t routine) {
    Bytes request =
        serviceRequest(Uds::Service::RoutineControl, {Uds::RoutineControlType::startRoutine});
    Uds::appendNumber(request, routine, 2);
    return request;
}

bool routineSucceeded(const Bytes& response, StatusByte status) {
    constexpr std::size_t statusAt = 4;
    const bool hasStatus = response.size() > statusAt;
    if (status == StatusByte::Required && !hasStatus) {
        throw FlashError(L"unusable response to a routine's start: " + Uds::hexText(response));
    }
    return !hasStatus || response[statusAt] == 0x00;
}

} // namespace Quarlen::Kel_cpp
