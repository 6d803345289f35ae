#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace Quarlen::Platform {

/// Where the system finds an existing file or folder, links resolved and the drive of a share
/// replaced by the share; empty when it does not tell.
std::wstring finalPath(const std::filesystem::path& path);

/// Whether the file or a folder on the way to it is a link: a symbolic link or a junction.
bool leadsThroughLink(const std::filesystem::path& path);

/// What decides where the program is; a test answers in the system's place.
struct ModuleQuestions {
    std::function<bool(const std::filesystem::path&)> leadsThroughLink =
        &Quarlen::Platform::leadsThroughLink;
    std::function<std::wstring(const std::filesystem::path&)> finalPath =
        &Quarlen::Platform::finalPath;
};

/// The program's file as it was started, so that a program on a mapped drive looks for its files on
/// that drive; behind a link it is the file that the link leads to.
std::filesystem::path programPath(const std::filesystem::path& module,
                                  const ModuleQuestions& questions = {});

} // namespace Quarlen::Platform
