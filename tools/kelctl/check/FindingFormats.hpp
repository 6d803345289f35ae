#pragma once

#include <string>
#include <vector>

#include "tools/kelctl/check/Finding.hpp"

namespace Quarlen::Ctl {

/// "file:line:column: error: text; expected …; hint [rule]", UTF-8.
std::string textOf(const Finding& finding);

/// An annotation of a workflow on GitHub: "::error file=…,line=…,col=…,title=…::text".
std::string gitHubLineOf(const Finding& finding);

/// All findings as one log in SARIF 2.1.0 (OASIS), as code reviews take them.
std::string sarifOf(const std::vector<Finding>& findings);

} // namespace Quarlen::Ctl
