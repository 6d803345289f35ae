#pragma once

#include <string>

#include "uds/BusEvent.hpp"

namespace Quarlen::Kel_cpp {

/// One line for a message between tester and control unit: link, addresses of both, direction,
/// bytes and what they say: "UDS_CAN_D 0x0E80 > 0x0010  22 F1 90  ReadDataByIdentifier (0x22)".
/// Long messages are cut, with their length.
[[nodiscard]] std::wstring busLine(const Uds::BusEvent& event);

/// Traces the line, from debug trace level 4 on.
void traceBus(const Uds::BusEvent& event);

} // namespace Quarlen::Kel_cpp
