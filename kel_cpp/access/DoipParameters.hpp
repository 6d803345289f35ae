#pragma once

#include "doip/DoipSettings.hpp"
#include "kel_server_lib/runtime/SettingsRecords.hpp"

namespace Quarlen::Kel_cpp {

/// What the parameters of an interface over Ethernet say: "host" (empty: look for the vehicle),
/// "port", "testerAddress", "activation" (type of the routing activation), "vin" and "eid" (which
/// vehicle is meant where it is looked for). What is odd in the network goes to the trace. Throws
/// `KelApiException` (code Configuration) for a value that is none.
[[nodiscard]] Doip::DoipSettings doipSettings(const InterfaceEntry& entry);

} // namespace Quarlen::Kel_cpp
