#pragma once

#include <cstdint>

#include "kel_cpp/report/HtmlWriter.hpp"
#include "kel_cpp/report/QuickTestRecords.hpp"

namespace Quarlen::Kel_cpp {

/// The faults of a control unit, each with its status bits and, where they were read, its freeze
/// frames and extended data. Bits that the control unit does not use are shown as such.
/// `askedStatus` is the mask of the request.
void writeFaults(HtmlWriter& html, const ControlUnitQuickTestResult& unit,
                 std::uint8_t askedStatus);

/// The codes that a control unit could find, folded.
void writeSupported(HtmlWriter& html, const ControlUnitQuickTestResult& unit);

} // namespace Quarlen::Kel_cpp
