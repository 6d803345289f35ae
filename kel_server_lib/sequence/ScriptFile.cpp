#include "kel_server_lib/sequence/ScriptFile.hpp"

#include "std_util/FileTool.hpp"

namespace Quarlen {

ScriptFile locateScript(const StdUtil::PathString& configPath, const std::wstring& name) {
    if (const StdUtil::PathString asGiven(name); StdUtil::FileTool::exists(asGiven)) {
        return {asGiven, true};
    }
    StdUtil::PathString inScriptsFolder = configPath;
    // The name stays inside the scripts folder also where it is absolute.
    const StdUtil::PathString component(StdUtil::PathString(name).path().relative_path());
    inScriptsFolder.append(L"KelServerScripts").append(component);
    return {inScriptsFolder, StdUtil::FileTool::exists(inScriptsFolder)};
}

} // namespace Quarlen
