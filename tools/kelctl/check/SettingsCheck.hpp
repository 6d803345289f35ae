#pragma once

#include <filesystem>
#include <vector>

#include "tools/kelctl/check/ConfigFolder.hpp"
#include "tools/kelctl/check/Finding.hpp"

namespace Quarlen::Ctl {

/// What KelServer.xml says and the folder does not have: scripts, interfaces, folders, tokens. The
/// settings have been read without a fault.
std::vector<Finding> checkSettings(const ConfigFolder& folder,
                                   const std::filesystem::path& workingFolder);

} // namespace Quarlen::Ctl
