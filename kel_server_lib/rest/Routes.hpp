#pragma once

#include "kel_server_lib/rest/FunctionMap.hpp"
#include "kel_server_lib/rest/handlers/Handlers.hpp"

namespace Quarlen::Rest {

/// Every route of the API, in one place. `context` is copied.
void addRoutes(FunctionMap& routes, const HandlerContext& context);

} // namespace Quarlen::Rest
