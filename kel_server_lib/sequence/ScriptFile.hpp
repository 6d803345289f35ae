#pragma once

#include <string>

#include "std_util/PathString.hpp"

namespace Quarlen {

struct ScriptFile {
    StdUtil::PathString path;
    bool found = false;
};

/// Where a sequence's script is: the name itself when it is the path of a file, else the file of
/// that name in the configuration folder's "KelServerScripts". When neither exists `path` is the
/// latter. The name is used as it is, without an extension added, and finds nothing where the
/// system would take it for another one, as "A.xml." on Windows.
ScriptFile locateScript(const StdUtil::PathString& configPath, const std::wstring& name);

} // namespace Quarlen
