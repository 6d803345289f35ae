#include "simulation/FaultMemory.hpp"

#include <algorithm>

#include "uds/Identifiers.hpp"

namespace Quarlen::Simulation {

namespace {

namespace ReportType = Uds::ReadDtcReportType;

/// testNotCompletedSinceLastClear and testNotCompletedThisOperationCycle (annex D.2).
constexpr std::uint8_t clearedStatus = 0x50;
/// Every bit of the status byte is in use.
constexpr std::uint8_t statusAvailabilityMask = 0xFF;
/// ISO 14229-1 DTC format (annex D.4).
constexpr std::uint8_t dtcFormat = 0x01;

} // namespace

ServiceReply FaultMemory::clear(const Uds::Bytes& request) {
    if (request.size() != 4) {
        return Uds::Nrc::IncorrectMessageLengthOrInvalidFormat;
    }
    const auto group = Uds::numberAt(request, 1, 3);
    bool known = group == Uds::allDtcs;
    for (auto& dtc : dtcs) {
        if (group == Uds::allDtcs || group == dtc.code) {
            dtc.status = clearedStatus;
            known = true;
        }
    }
    if (!known) {
        return Uds::Nrc::RequestOutOfRange;
    }
    return positiveResponse(Uds::Service::ClearDiagnosticInformation);
}

ServiceReply FaultMemory::read(const Uds::Bytes& request) const {
    const auto subFunction = request[1];
    const bool byMask = subFunction == ReportType::numberOfDtcByStatusMask ||
                        subFunction == ReportType::dtcByStatusMask;
    if (!byMask && subFunction != ReportType::supportedDtc) {
        return Uds::Nrc::SubFunctionNotSupported;
    }
    if (request.size() != (byMask ? 3U : 2U)) {
        return Uds::Nrc::IncorrectMessageLengthOrInvalidFormat;
    }
    if (subFunction == ReportType::numberOfDtcByStatusMask) {
        return countMatching(request[2]);
    }
    return list(subFunction, byMask ? request[2] : std::uint8_t{0});
}

ServiceReply FaultMemory::countMatching(std::uint8_t mask) const {
    const auto count = std::count_if(dtcs.begin(), dtcs.end(), [mask](const DtcDescription& dtc) {
        return (dtc.status & mask) != 0;
    });
    auto response =
        positiveResponse(Uds::Service::ReadDtcInformation,
                         {ReportType::numberOfDtcByStatusMask, statusAvailabilityMask, dtcFormat});
    Uds::appendNumber(response, static_cast<std::uint64_t>(count), 2);
    return response;
}

ServiceReply FaultMemory::list(std::uint8_t subFunction, std::uint8_t mask) const {
    auto response =
        positiveResponse(Uds::Service::ReadDtcInformation, {subFunction, statusAvailabilityMask});
    for (const auto& dtc : dtcs) {
        if (subFunction == ReportType::supportedDtc || (dtc.status & mask) != 0) {
            Uds::appendNumber(response, dtc.code, 3);
            response.push_back(dtc.status);
        }
    }
    return response;
}

} // namespace Quarlen::Simulation
