#pragma once

#include <string>
#include <vector>

#include "kel_server_lib/sequence/actions/RunState.hpp"

namespace Quarlen {

/// Flashes the items one after the other and shows each job's progress as the server status. A
/// job that ends with an error shows it as the status and changes nothing else: the next item
/// follows, and false is only returned when the runtime itself failed.
bool runFlashingAction(RunState& state, RunState::Api api,
                       const std::vector<std::wstring>& flashItems);

} // namespace Quarlen
