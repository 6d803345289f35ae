#pragma once

#include <cstdint>
#include <vector>

#include "kel_cpp/jobs/UnitQuestions.hpp"
#include "kel_cpp/projects/Project.hpp"

namespace Quarlen::Kel_cpp {

/// Reads the fault memory of one control unit (ReadDTCInformation, ISO 14229-1 clause 12.3). The
/// faults themselves (0x02) are what a control unit must have; their number (0x01) and the list of
/// what it could find (0x0A) are optional, and one without them is read completely.
class FaultMemoryReader {
public:
    FaultMemoryReader(UnitQuestions& questions, const Project& project)
        : questions(questions), project(project) {}

    /// Throws `Uds::NegativeResponse` when the faults are refused.
    void readFaults(std::uint8_t statusMask);
    void readSupported();
    /// Asks for the number of faults, of which the format of the codes is kept alone. A control
    /// unit that does not tell it is complete.
    void readFormat();

private:
    void readCount(std::uint8_t statusMask);
    std::vector<DtcReading> readDtcs(const Uds::Bytes& request);

    UnitQuestions& questions;
    const Project& project;
};

} // namespace Quarlen::Kel_cpp
