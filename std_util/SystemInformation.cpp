#include "std_util/SystemInformation.hpp"

#include "platform/FileFacts.hpp"
#include "platform/SystemPaths.hpp"

namespace StdUtil::SystemInformation {

namespace Platform = Quarlen::Platform;

PathString getInstallationPath() {
    return PathString(Platform::executablePath().parent_path());
}

PathString getConfigPath() {
    return configPathOf(getInstallationPath());
}

PathString configPathOf(const PathString& installationPath) {
    // Without an installation path, "config" would be a folder of the current directory.
    const bool installed = !installationPath.path().empty();
    const std::filesystem::path config = installationPath.path() / "config";
    const bool besideProgram = installed && Platform::isFolder(config);
    return PathString(besideProgram ? config : Platform::systemConfigFolder());
}

} // namespace StdUtil::SystemInformation
