#pragma once

#include "std_util/PathString.hpp"

namespace StdUtil::SystemInformation {

/// Folder that holds the running executable, links resolved, no separator at the end.
PathString getInstallationPath();

/// "config" in the installation folder where that exists, else the system's configuration folder.
PathString getConfigPath();

/// The same for a program installed there. An empty path is an installation that nobody knows.
PathString configPathOf(const PathString& installationPath);

} // namespace StdUtil::SystemInformation
