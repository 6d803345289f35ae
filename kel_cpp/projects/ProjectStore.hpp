#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "kel_cpp/projects/Project.hpp"

namespace Quarlen::Kel_cpp {

/// Reads one project.xml. Throws `KelApiException` (code Configuration) that names file, line,
/// column and what was expected.
std::shared_ptr<const Project> readProject(const std::filesystem::path& projectFile,
                                           const std::wstring& name);

/// Folders with a project.xml under `projectsFolder`, names in ascending order of their UTF-8
/// bytes. The list is empty when `projectsFolder` is missing. Throws `KelApiException` (code
/// Configuration) when it exists but cannot be read.
std::vector<std::wstring> listProjects(const std::filesystem::path& projectsFolder);

/// Throws `KelApiException`: UnknownProject when no project has that name (a name that leaves the
/// projects folder is unknown, too), Configuration when its file is wrong.
std::shared_ptr<const Project> loadProject(const std::filesystem::path& projectsFolder,
                                           const std::wstring& name);

} // namespace Quarlen::Kel_cpp
