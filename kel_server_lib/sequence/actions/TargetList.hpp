#pragma once

#include <string>
#include <vector>

#include "config/ScriptObjects.hpp"
#include "kel_server_lib/runtime/KelApi.hpp"

namespace Quarlen {

/// Names that an action works on: its own items and, when it lists targets, the control units that
/// the runtime offers once those targets are set as its filters.
std::vector<std::wstring> targetList(Kel_cpp::KelApi& api, const std::vector<std::wstring>& items,
                                     const std::vector<Config::TargetSetting>& targets);

} // namespace Quarlen
