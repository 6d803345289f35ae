#pragma once

#include <string>

#include "kel_server_lib/sequence/actions/RunState.hpp"

namespace Quarlen {

/// Has the runtime execute a service or procedure and waits for its end. What the procedure
/// reports does not matter: false only when the runtime itself failed.
bool runExecuteAction(RunState& state, RunState::Api api, const std::wstring& command);

} // namespace Quarlen
