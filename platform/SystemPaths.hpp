#pragma once

#include <filesystem>
#include <string>

namespace Quarlen::Platform {

/// The running executable: behind a link the file that the link leads to, else the path by which
/// it was started, which may be one of a mapped drive.
std::filesystem::path executablePath();

/// Where the program's configuration is kept on a machine where it is installed.
std::filesystem::path systemConfigFolder();

/// The computer's name as `gethostname` gives it; empty when it cannot be had.
std::wstring hostName();

} // namespace Quarlen::Platform
