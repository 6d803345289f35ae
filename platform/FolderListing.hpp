#pragma once

#include <filesystem>
#include <system_error>
#include <vector>

namespace Quarlen::Platform {

/// The paths of a folder's entries, without "." and "..", in no order. The folder's own path may be
/// of every length that the system has. Sets `failure` when the folder cannot be read, also
/// halfway, and gives what was read until then.
std::vector<std::filesystem::path> listFolder(const std::filesystem::path& folder,
                                              std::error_code& failure);

} // namespace Quarlen::Platform
