#pragma once

#include "config/ScriptObjects.hpp"
#include "kel_server_lib/ServerHandlerSequence.hpp"

namespace Quarlen {

/// Carries out a script's actions in their order, up to the first that fails or until a stop is
/// raised. False when one has failed.
bool walkActions(ServerHandlerSequence& handler, const ServerHandlerSequence::Api& api,
                 const Config::CfxKelServerScript& script);

} // namespace Quarlen
