#include "kel_cpp/report/FaultCounts.hpp"

namespace Quarlen::Kel_cpp {

namespace {

constexpr unsigned confirmedBit = 0x08;
/// testFailed, testFailedThisOperationCycle, pendingDTC. A control unit that has the third sets it
/// with the others.
constexpr unsigned pendingBits = 0x07;

void append(std::string& text, std::size_t count, const char* word) {
    if (count > 0) {
        text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + word;
    }
}

} // namespace

void FaultCounts::add(const ControlUnitQuickTestResult& unit) {
    for (const DtcReading& fault : unit.faults) {
        const unsigned status = fault.status & unit.statusAvailability;
        if ((status & confirmedBit) != 0) {
            ++confirmed;
        } else if ((status & pendingBits) != 0) {
            ++pending;
        } else {
            ++other;
        }
    }
}

std::string faultCountsText(const FaultCounts& counts) {
    std::string text;
    append(text, counts.confirmed, "confirmed");
    append(text, counts.pending, "pending");
    append(text, counts.other, "other");
    return text.empty() ? "No faults" : text;
}

} // namespace Quarlen::Kel_cpp
