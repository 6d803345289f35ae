#pragma once

#include <optional>
#include <vector>

#include "kel_cpp/history/RunRecords.hpp"
#include "kel_cpp/report/RunSection.hpp"

namespace Quarlen::Kel_cpp {

/// What a run that is under way has done besides its quick tests, for its report. Empty without a
/// run and for one that has ended.
std::vector<RunResult> runResults(const std::optional<RunEntry>& run);

} // namespace Quarlen::Kel_cpp
