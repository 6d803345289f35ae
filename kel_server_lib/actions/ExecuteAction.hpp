#pragma once

#include <string>

#include "kel_server_lib/ServerHandlerSequence.hpp"

namespace Quarlen {

/// Has the runtime execute a service or procedure and waits for its end. What the procedure
/// reports does not matter: false only when the runtime itself failed.
bool runExecuteAction(ServerHandlerSequence& handler, ServerHandlerSequence::Api api,
                      const std::wstring& command);

} // namespace Quarlen
