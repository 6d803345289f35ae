#include "simulation/FaultMemory.hpp"

#include <algorithm>
#include <utility>

#include "uds/Identifiers.hpp"

namespace Quarlen::Simulation {

namespace {

namespace ReportType = Uds::ReadDtcReportType;

/// testNotCompletedSinceLastClear and testNotCompletedThisOperationCycle (annex D.2).
constexpr std::uint8_t clearedStatus = 0x50;
/// DTCSnapshotRecordNumberOfIdentifiers, then each identifier with its value.
Uds::Bytes frameContent(const FreezeFrameDescription& frame) {
    Uds::Bytes content{static_cast<std::uint8_t>(frame.data.size())};
    for (const auto& [id, value] : frame.data) {
        Uds::appendNumber(content, id, 2);
        content.insert(content.end(), value.begin(), value.end());
    }
    return content;
}

bool belongsTo(std::uint32_t dtc, std::uint64_t group) {
    const bool isGroup = (group & ~std::uint64_t{Uds::DtcGroup::mask}) == 0;
    return group == Uds::allDtcs || group == dtc ||
           (isGroup && (dtc & Uds::DtcGroup::mask) == group);
}

} // namespace

FaultMemory::FaultMemory(std::vector<DtcDescription> dtcs, std::uint8_t dtcFormat,
                         std::uint8_t statusAvailability)
    : dtcs(std::move(dtcs)), dtcFormat(dtcFormat), statusAvailability(statusAvailability) {
    for (auto& dtc : this->dtcs) {
        dtc.status &= statusAvailability;
        for (const auto& frame : dtc.freezeFrames) {
            freezeFrames.add(dtc.code, frame.number, frameContent(frame));
        }
        for (const auto& record : dtc.extendedData) {
            extendedData.add(dtc.code, record.number, record.value);
        }
    }
}

ServiceReply FaultMemory::clear(const Uds::Bytes& request) {
    if (request.size() != 4) {
        return Uds::Nrc::IncorrectMessageLengthOrInvalidFormat;
    }
    const auto group = Uds::numberAt(request, 1, 3);
    bool known = group == Uds::allDtcs;
    for (auto& dtc : dtcs) {
        if (belongsTo(dtc.code, group)) {
            dtc.status = clearedStatus & statusAvailability;
            freezeFrames.clear(dtc.code);
            extendedData.clear(dtc.code);
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
    if (subFunction == ReportType::freezeFrameByDtc) {
        return readRecords(request, freezeFrames);
    }
    if (subFunction == ReportType::extendedDataByDtc) {
        return readRecords(request, extendedData);
    }
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

ServiceReply FaultMemory::readRecords(const Uds::Bytes& request,
                                      const FaultRecords& records) const {
    constexpr std::size_t requestLength = 6;
    if (!records.areSupported()) {
        return Uds::Nrc::SubFunctionNotSupported;
    }
    if (request.size() != requestLength) {
        return Uds::Nrc::IncorrectMessageLengthOrInvalidFormat;
    }
    const auto code = Uds::numberAt(request, 2, 3);
    const auto dtc =
        std::find_if(dtcs.begin(), dtcs.end(),
                     [code](const DtcDescription& candidate) { return candidate.code == code; });
    if (dtc == dtcs.end() || !records.supports(request.back())) {
        return Uds::Nrc::RequestOutOfRange;
    }
    auto response = positiveResponse(Uds::Service::ReadDtcInformation, {request[1]});
    Uds::appendNumber(response, code, 3);
    response.push_back(dtc->status);
    records.append(response, dtc->code, request.back());
    if (response.size() > maxResponseLength) {
        return Uds::Nrc::ResponseTooLong;
    }
    return response;
}

ServiceReply FaultMemory::countMatching(std::uint8_t mask) const {
    const auto count = std::count_if(dtcs.begin(), dtcs.end(), [mask](const DtcDescription& dtc) {
        return (dtc.status & mask) != 0;
    });
    auto response =
        positiveResponse(Uds::Service::ReadDtcInformation,
                         {ReportType::numberOfDtcByStatusMask, statusAvailability, dtcFormat});
    Uds::appendNumber(response, static_cast<std::uint64_t>(count), 2);
    return response;
}

ServiceReply FaultMemory::list(std::uint8_t subFunction, std::uint8_t mask) const {
    auto response =
        positiveResponse(Uds::Service::ReadDtcInformation, {subFunction, statusAvailability});
    for (const auto& dtc : dtcs) {
        if (subFunction == ReportType::supportedDtc || (dtc.status & mask) != 0) {
            Uds::appendNumber(response, dtc.code, 3);
            response.push_back(dtc.status);
        }
    }
    return response;
}

} // namespace Quarlen::Simulation
