#include "kel_cpp/jobs/FaultMemoryReader.hpp"

#include "uds/Identifiers.hpp"

namespace Quarlen::Kel_cpp {

namespace {

namespace ReportType = Uds::ReadDtcReportType;

constexpr auto readDtcInformation = static_cast<std::uint8_t>(Uds::Service::ReadDtcInformation);

} // namespace

void FaultMemoryReader::readFaults(std::uint8_t statusMask) {
    auto& result = questions.result();
    result.faults = readDtcs({readDtcInformation, ReportType::dtcByStatusMask, statusMask});
    result.faultCount = static_cast<std::uint16_t>(result.faults.size());
    try {
        readCount(statusMask);
    } catch (const Uds::NegativeResponse&) {
        // The faults have been counted, and their format is not told.
    } catch (const Uds::NoUsableResponse&) {
        // Nor does it tell them by silence or in a way of its own.
    }
}

void FaultMemoryReader::readSupported() {
    auto& result = questions.result();
    const std::uint8_t availability = result.statusAvailability;
    try {
        result.supported = readDtcs({readDtcInformation, ReportType::supportedDtc});
    } catch (const Uds::NegativeResponse&) {
        // It does not tell what it could find.
    } catch (const Uds::NoUsableResponse&) {
        // Nor by silence or in a way of its own.
    }
    if (result.faultsAskedFor) {
        result.statusAvailability = availability;
    }
}

void FaultMemoryReader::readFormat() {
    constexpr std::uint8_t anyStatus = 0xFF;
    const std::uint16_t count = questions.result().faultCount;
    try {
        readCount(anyStatus);
    } catch (const Uds::NegativeResponse&) {
        // It is not told.
    } catch (const Uds::NoUsableResponse&) {
        // Nor in another way.
    }
    questions.result().faultCount = count;
}

void FaultMemoryReader::readCount(std::uint8_t statusMask) {
    // 59 01 availabilityMask format countHigh countLow
    const auto response = questions.readDtcInformation(
        {readDtcInformation, ReportType::numberOfDtcByStatusMask, statusMask}, 6);
    questions.result().dtcFormat = response[3];
    questions.result().faultCount = static_cast<std::uint16_t>(Uds::numberAt(response, 4, 2));
}

std::vector<DtcReading> FaultMemoryReader::readDtcs(const Uds::Bytes& request) {
    // 59 02 availabilityMask, then for each fault three bytes of code and one of status
    constexpr std::size_t headerSize = 3;
    constexpr std::size_t entrySize = 4;
    const Uds::Bytes response = questions.readDtcInformation(request, headerSize);
    if ((response.size() - headerSize) % entrySize != 0) {
        throwUnusableDtcInformation(response);
    }
    questions.result().statusAvailability = response[2];
    std::vector<DtcReading> dtcs;
    for (std::size_t at = headerSize; at < response.size(); at += entrySize) {
        const auto code = static_cast<std::uint32_t>(Uds::numberAt(response, at, 3));
        dtcs.push_back({code, response[at + 3], project.dtcText(code)});
    }
    return dtcs;
}

} // namespace Quarlen::Kel_cpp
