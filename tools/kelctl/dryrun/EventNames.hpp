#pragma once

#include "kel_cpp/history/RunRecords.hpp"
#include "kel_server_lib/devices/StatusLed.hpp"
#include "uds/BusEvent.hpp"

/// What people and machines read for the parts of an event.
namespace Quarlen::Ctl {

const char* nameOf(const LedColour& colour);
const char* nameOf(Uds::BusEvent::Kind kind);
const char* nameOf(Kel_cpp::JobKind kind);
const char* nameOf(Kel_cpp::JobOutcome outcome);

} // namespace Quarlen::Ctl
