#pragma once

#include "config/ScriptObjects.hpp"
#include "kel_server_lib/sequence/ServerHandlerSequence.hpp"

namespace Quarlen {

struct WalkResult {
    /// False when an action has failed.
    bool success = true;
    /// A stop kept an action from being begun. The stop may have been lowered again since.
    bool stopped = false;
};

/// Carries out a script's actions in their order, up to the first one that fails or until a stop is
/// raised.
WalkResult walkActions(ServerHandlerSequence& handler, const ServerHandlerSequence::Api& api,
                       const Config::CfxKelServerScript& script);

} // namespace Quarlen
