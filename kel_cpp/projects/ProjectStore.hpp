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
/// bytes. A folder that is missing has no projects. Throws `KelApiException` (code Configuration)
/// when it is there and cannot be read.
std::vector<std::wstring> listProjects(const std::filesystem::path& projectsFolder);

/// Throws `KelApiException`: UnknownProject when there is none of that name (a name that leaves the
/// projects folder is unknown, too), Configuration when its file is wrong.
std::shared_ptr<const Project> loadProject(const std::filesystem::path& projectsFolder,
                                           const std::wstring& name);

} // namespace Quarlen::Kel_cpp
