#pragma once

#include <filesystem>
#include <string>

namespace Quarlen::Platform {

/// Makes a folder that nobody has made before, named `prefix` and something random, and lets nobody
/// into it but its owner from the first moment on. On Windows it lets in whom `parent` lets in: a
/// user's folder for temporary files is private. Throws `std::system_error`.
std::filesystem::path makePrivateFolder(const std::filesystem::path& parent,
                                        const std::string& prefix);

} // namespace Quarlen::Platform
