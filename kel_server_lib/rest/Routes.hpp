#pragma once

#include "kel_server_lib/rest/FunctionMap.hpp"

namespace Quarlen::Rest {

/// Every route of the API, in one place.
void addRoutes(FunctionMap& routes);

} // namespace Quarlen::Rest
