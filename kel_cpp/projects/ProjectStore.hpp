#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "kel_cpp/projects/Project.hpp"

/// A project is a folder with a project.xml that people write and copy while the program runs. The
/// folders themselves are the store: each call looks at the disk, nothing is cached, so a project
/// that has just been copied is there with the next call. What is read is checked as a whole before
/// anybody gets it and never changes afterwards; whoever has selected a project shares its
/// ownership and keeps what was in force then, whatever happens to the file. Any thread may call
/// these functions.
namespace Quarlen::Kel_cpp {

/// Reads one project.xml. Throws `KelApiException` (code Configuration) that names file, line,
/// column and what was expected.
std::shared_ptr<const Project> readProject(const std::filesystem::path& projectFile,
                                           const std::wstring& name);

/// Folders with a project.xml under `projectsFolder`, names in ascending order of their UTF-8
/// bytes. The list is empty when `projectsFolder` is missing. Throws `KelApiException` (code
/// Configuration) when it exists but cannot be read.
std::vector<std::wstring> listProjects(const std::filesystem::path& projectsFolder);

/// The project of the list that has this name, compared as the file system does; it gets the name
/// in the list. Throws `KelApiException`: UnknownProject when there is none (a name that leaves the
/// projects folder is unknown, too), Configuration when its file is wrong or there is no list.
std::shared_ptr<const Project> loadProject(const std::filesystem::path& projectsFolder,
                                           const std::wstring& name);

} // namespace Quarlen::Kel_cpp
