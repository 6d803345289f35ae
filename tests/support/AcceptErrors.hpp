#pragma once

#include <vector>

namespace Quarlen::Tests {

/// The system's numbers of failures to accept a client that pass.
std::vector<int> passingAcceptErrors();
/// Those of a socket that is closed or does not listen.
std::vector<int> lastAcceptErrors();

} // namespace Quarlen::Tests
