#include "kel_cpp/report/FaultCounts.hpp"

namespace Quarlen::Kel_cpp {

namespace {

void append(std::string& text, std::size_t count, const char* word) {
    if (count > 0) {
        text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + word;
    }
}

} // namespace

void FaultCounts::add(const ControlUnitQuickTestResult& unit) {
    for (const DtcReading& fault : unit.faults) {
        const unsigned status = fault.status & unit.statusAvailability;
        if ((status & confirmedStatus) != 0) {
            ++confirmed;
        } else if ((status & pendingStatus) != 0) {
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
