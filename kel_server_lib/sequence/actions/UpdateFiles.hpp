#pragma once

#include "kel_server_lib/runtime/KelApi.hpp"

namespace Quarlen {

/// Hands the update containers of the runtime's data folder "flashdata" to the runtime, so that
/// the flash items that follow can use them. Nothing is handed over when there are none.
void prepareUpdateFiles(Kel_cpp::KelApi& api);

} // namespace Quarlen
