#include "uds/Matching.hpp"

#include <algorithm>
#include <cstddef>

#include "uds/Identifiers.hpp"

namespace Quarlen::Uds {

namespace {

constexpr std::size_t identifierSize = 2;

/// `count` bytes after the service identifier are the same.
bool repeats(const Bytes& request, const Bytes& response, std::size_t count) noexcept {
    const std::size_t wanted = std::min(count, request.size() - 1);
    return response.size() > wanted &&
           std::equal(request.begin() + 1,
                      request.begin() + 1 + static_cast<std::ptrdiff_t>(wanted),
                      response.begin() + 1);
}

/// The bit that asks for no positive response is not repeated (clause 8.2.2).
bool repeatsSubFunction(const Bytes& request, const Bytes& response) noexcept {
    constexpr auto subFunction = static_cast<std::uint8_t>(~suppressPositiveResponseBit);
    return request.size() < 2 ||
           (response.size() >= 2 && response[1] == (request[1] & subFunction));
}

/// One of the identifiers of a request for several: those that the control unit does not have are
/// left out (clause 11.2.1).
bool beginsWithOneOf(const Bytes& request, const Bytes& response) noexcept {
    if (request.size() < 1 + identifierSize) {
        return true;
    }
    for (std::size_t at = 1; at + identifierSize <= request.size(); at += identifierSize) {
        if (response.size() > identifierSize &&
            numberAt(response, 1, identifierSize) == numberAt(request, at, identifierSize)) {
            return true;
        }
    }
    return false;
}

/// The routine identifier stands behind the sub-function (clause 14.2.3).
bool repeatsRoutine(const Bytes& request, const Bytes& response) noexcept {
    constexpr std::size_t routineAt = 2;
    return request.size() < routineAt + identifierSize ||
           (response.size() >= routineAt + identifierSize &&
            numberAt(response, routineAt, identifierSize) ==
                numberAt(request, routineAt, identifierSize));
}

/// Behind the sub-function stands the DTC whose records were asked for (clause 12.3).
bool repeatsDtc(const Bytes& request, const Bytes& response) noexcept {
    constexpr std::size_t dtcAt = 2;
    constexpr std::size_t dtcSize = 3;
    const bool asksForOne =
        request.size() >= dtcAt + dtcSize && (request[1] == ReadDtcReportType::freezeFrameByDtc ||
                                              request[1] == ReadDtcReportType::extendedDataByDtc);
    return !asksForOne || (response.size() >= dtcAt + dtcSize &&
                           numberAt(response, dtcAt, dtcSize) == numberAt(request, dtcAt, dtcSize));
}

} // namespace

bool isOfService(const Bytes& request, const Bytes& response) noexcept {
    return !response.empty() &&
           response[0] == static_cast<std::uint8_t>(request[0] + positiveResponseOffset);
}

bool matches(const Bytes& request, const Bytes& response) noexcept {
    if (isNegative(response)) {
        return response[1] == request[0];
    }
    if (!isOfService(request, response)) {
        return false;
    }
    switch (static_cast<Service>(request[0])) {
    case Service::ReadDataByIdentifier:
        return beginsWithOneOf(request, response);
    case Service::ReadDtcInformation:
        return repeatsSubFunction(request, response) && repeatsDtc(request, response);
    case Service::ReadScalingDataByIdentifier:
    case Service::WriteDataByIdentifier:
    case Service::InputOutputControlByIdentifier:
        return repeats(request, response, identifierSize);
    case Service::TransferData:
    case Service::RequestFileTransfer:
        return repeats(request, response, 1);
    case Service::RoutineControl:
        return repeatsSubFunction(request, response) && repeatsRoutine(request, response);
    default:
        return !hasSubFunction(request[0]) || repeatsSubFunction(request, response);
    }
}

} // namespace Quarlen::Uds
