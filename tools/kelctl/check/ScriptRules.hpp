#pragma once

#include "tools/kelctl/check/FindingList.hpp"
#include "tools/kelctl/check/ScriptTree.hpp"

namespace Quarlen::Ctl {

/// Elements, attributes and texts that `config/schema/KelServerScript.xsd` does not allow: the
/// server passes them over or takes them for something else.
void checkScriptSchema(const ScriptTree& tree, FindingList& findings);

} // namespace Quarlen::Ctl
