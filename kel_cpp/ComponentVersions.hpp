#pragma once

#include <string>

#include "kel_server_lib/runtime/SettingsRecords.hpp"

namespace Quarlen::Kel_cpp {

/// Version of this runtime and of the program that it is built with.
std::wstring runtimeVersion();

/// The components of this runtime: its built-in D-PDU layer (kind 1), itself (kind 0) and the
/// libraries that it uses (kind 2, the version after the library's name).
RecordList<ComponentVersion> componentVersions();

} // namespace Quarlen::Kel_cpp
