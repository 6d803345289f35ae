#pragma once

#include <cstdint>
#include <string>

#include "kel_cpp/jobs/UnitQuestions.hpp"
#include "kel_cpp/projects/Project.hpp"

namespace Quarlen::Kel_cpp {

/// Reads what a control unit has stored with its faults: freeze frames (ReadDTCInformation 0x04)
/// and extended data (0x06). Responses do not tell the lengths of what they hold. Values of freeze
/// frames are therefore taken apart as far as their identifiers are those of `knownValue`, and
/// each extended data record is asked for on its own. A refusal becomes the fault's
/// `recordsText`; a control unit that does not have the sub-function is not asked again.
class FaultRecordsReader {
public:
    FaultRecordsReader(UnitQuestions& questions, const Project& project)
        : questions(questions), project(project) {}

    void readFreezeFrames(DtcReading& fault);
    void readExtendedData(DtcReading& fault);

private:
    bool readExtendedRecord(DtcReading& fault, const ExtendedDataItem& record);
    Uds::Bytes ask(std::uint8_t reportType, const DtcReading& fault, std::uint8_t record);
    [[nodiscard]] std::wstring nameOf(std::uint16_t dataIdentifier) const;
    void takeFrames(DtcReading& fault, const Uds::Bytes& response) const;
    std::size_t takeFrame(FreezeFrame& frame, const Uds::Bytes& response, std::size_t at) const;

    UnitQuestions& questions;
    const Project& project;
    bool hasFreezeFrames = true;
    bool hasExtendedData = true;
};

} // namespace Quarlen::Kel_cpp
