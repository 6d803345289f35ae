#pragma once

#include <string>
#include <vector>

/// Which identification numbers lead AUTO_SELECT to a project: it takes the first one whose name
/// has the number without its first three characters.
namespace Quarlen::Ctl {

/// A vehicle identification number that AUTO_SELECT finds a project of this name with; empty where
/// there is none.
std::wstring vinForProject(const std::wstring& name);

/// Whether there is such a number, and it leads to no project before this one. `names` as the
/// runtime lists them.
bool isFoundByVin(const std::vector<std::wstring>& names, const std::wstring& name);

} // namespace Quarlen::Ctl
