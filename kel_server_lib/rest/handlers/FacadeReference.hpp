#pragma once

#include <memory>

#include "kel_server_lib/runtime/KelApi.hpp"

namespace Quarlen::Rest {

/// The process-wide facade that the REST handlers talk to. Handlers take a reference for each use,
/// so the facade cannot be released under a request.
std::shared_ptr<Kel_cpp::KelApi> facade();
/// Replaces the facade. A REST server calls it and names itself as the owner.
void setFacade(std::shared_ptr<Kel_cpp::KelApi> api, const void* owner);
/// Empties the reference unless another owner has set it since.
void releaseFacade(const void* owner);

} // namespace Quarlen::Rest
