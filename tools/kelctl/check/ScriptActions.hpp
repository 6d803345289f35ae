#pragma once

#include "tools/kelctl/check/ConfigFolder.hpp"
#include "tools/kelctl/check/FindingList.hpp"
#include "tools/kelctl/check/ScriptTree.hpp"

namespace Quarlen::Ctl {

/// Goes through the actions as a run does and tells which of them do nothing, fail for certain or
/// are never reached. `folder` tells what there is of the names in them; null where no
/// configuration folder is known.
void checkScriptActions(const ScriptTree& tree, const ConfigFolder* folder, FindingList& findings);

} // namespace Quarlen::Ctl
