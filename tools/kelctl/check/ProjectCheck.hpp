#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/kelctl/check/ConfigFolder.hpp"
#include "tools/kelctl/check/Finding.hpp"

namespace Quarlen::Ctl {

/// What a project names and the folder does not have: files to flash, and logical links of the
/// simulated vehicle, where there is one (`links`). The project has been read without a fault.
std::vector<Finding> checkProject(const ConfigFolder& folder, const std::wstring& name,
                                  const std::optional<std::vector<std::wstring>>& links);

} // namespace Quarlen::Ctl
