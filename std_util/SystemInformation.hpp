#pragma once

#include "std_util/PathString.hpp"

namespace StdUtil::SystemInformation {

/// Folder that holds the running executable, links resolved, no separator at the end.
PathString getInstallationPath();

/// "config" in the installation folder where that exists, else the system's configuration folder.
PathString getConfigPath();

/// The configuration folder of a program installed at that path. The path is empty when the
/// installation is unknown.
PathString configPathOf(const PathString& installationPath);

} // namespace StdUtil::SystemInformation
