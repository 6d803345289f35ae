#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/kelctl/check/ProjectChoice.hpp"
#include "tools/kelctl/check/ScriptTree.hpp"

/// Names in scripts and projects, for the checks that compare them.
namespace Quarlen::Ctl {

using Names = std::vector<std::wstring>;

/// A name in a message.
std::wstring quotedName(const std::wstring& name);
std::wstring attributeOf(const ScriptElement& element, std::string_view name);
bool contains(const Names& names, const std::wstring& name);

Names controlUnitNames(const SelectedProject& selected);
/// The control units that the targets of an action let through, asked of the runtime's own
/// selection.
Names passingUnits(const SelectedProject& selected, const ScriptAction& action);

} // namespace Quarlen::Ctl
