#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tools/kelctl/check/ConfigFolder.hpp"
#include "tools/kelctl/check/Finding.hpp"

namespace Quarlen::Ctl {

/// What a script is checked against.
struct ScriptSurroundings {
    /// Tells whether what the script names exists; null where no configuration folder is known.
    const ConfigFolder* config = nullptr;
    /// The folder in which the server is started.
    std::filesystem::path workingFolder;
};

/// What is wrong with one script, `script` as the user names it. Findings come in the order of the
/// file. Throws nothing for what is in the files.
std::vector<Finding> checkScript(const std::filesystem::path& script,
                                 const ScriptSurroundings& surroundings);

/// Why a file cannot be read at all; nothing where it can.
std::vector<Finding> checkReadable(const std::filesystem::path& file);

} // namespace Quarlen::Ctl
