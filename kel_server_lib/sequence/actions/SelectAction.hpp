#pragma once

#include <string>

#include "kel_server_lib/sequence/actions/RunState.hpp"

namespace Quarlen {

/// Selects a project and a vehicle information and opens the vehicle access. "AUTO_SELECT" finds
/// the project by the vehicle's identification number; when none fits, no project is selected,
/// which is no failure. False only when the runtime itself failed.
bool runSelectAction(RunState& state, RunState::Api api, const std::wstring& project,
                     const std::wstring& vehicleInformation, bool autoConnect);

/// The first project whose name contains the vehicle's identification number without its first
/// three characters (the manufacturer, ISO 3779), else the empty text.
std::wstring autoSelectProject(RunState& state, const RunState::Api& api, bool autoConnect);

/// Reads the vehicle identification number through the auxiliary project "VIN_Reader", which is
/// deselected afterwards. The empty text when the vehicle gives none.
std::string readVin(RunState& state, const RunState::Api& api, bool autoConnect);

} // namespace Quarlen
