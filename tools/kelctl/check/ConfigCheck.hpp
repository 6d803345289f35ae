#pragma once

#include <cstddef>
#include <filesystem>
#include <vector>

#include "tools/kelctl/check/ConfigFolder.hpp"
#include "tools/kelctl/check/Finding.hpp"

namespace Quarlen::Ctl {

/// What a check has looked at and found.
struct CheckedFiles {
    std::vector<Finding> findings;
    std::size_t count = 0;

    void add(const std::vector<Finding>& more);
};

/// A configuration folder as a whole: its settings, projects, vehicle and scripts, and whether they
/// fit together. The server is started in `workingFolder`.
void checkConfigFolder(const std::filesystem::path& folder,
                       const std::filesystem::path& workingFolder, CheckedFiles& checked);

/// One file, which its root element tells the kind of: settings, project, vehicle or script.
void checkConfigFile(const std::filesystem::path& file, const std::filesystem::path& workingFolder,
                     CheckedFiles& checked);

/// Why the settings of a folder are refused; nothing where they are not.
std::vector<Finding> checkSettingsLoad(const ConfigFolder& folder);

} // namespace Quarlen::Ctl
