#include "kel_server_lib/sequence/ScriptFile.hpp"

#include "platform/FileNames.hpp"
#include "std_util/FileTool.hpp"

namespace Quarlen {

ScriptFile locateScript(const StdUtil::PathString& configPath, const std::wstring& name) {
    const StdUtil::PathString asGiven(name);
    const bool isOwnName = Platform::isTakenLiterally(asGiven.path());
    if (isOwnName && StdUtil::FileTool::exists(asGiven)) {
        return {asGiven, true};
    }
    StdUtil::PathString inScriptsFolder = configPath;
    // The name stays inside the scripts folder also where it is absolute.
    const StdUtil::PathString component(asGiven.path().relative_path());
    inScriptsFolder.append(L"KelServerScripts").append(component);
    return {inScriptsFolder, isOwnName && StdUtil::FileTool::exists(inScriptsFolder)};
}

} // namespace Quarlen
