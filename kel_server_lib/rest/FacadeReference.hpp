#pragma once

#include <memory>

#include "kel_server_lib/runtime/KelApi.hpp"

namespace Quarlen::Rest {

/// The process-wide facade that the REST handlers talk to. A running REST server sets it and
/// empties it when it goes. Handlers take a reference for each use, so the facade cannot be
/// released under a request.
std::shared_ptr<Kel_cpp::KelApi> facade();
void setFacade(std::shared_ptr<Kel_cpp::KelApi> api);

} // namespace Quarlen::Rest
