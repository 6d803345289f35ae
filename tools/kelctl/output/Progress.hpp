#pragma once

#include <boost/json/object.hpp>

#include "tools/kelctl/output/Output.hpp"

namespace Quarlen::Ctl {

/// "Flash ENGINE  [#####     ]  50 %  2,048 of 4,096 bytes", from the parameters of the
/// notification job.progress. Empty for a job that tells no progress.
std::string progressLine(const boost::json::object& progress, std::size_t barWidth = 24);

} // namespace Quarlen::Ctl
