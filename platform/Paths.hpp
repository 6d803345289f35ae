#pragma once

#include <filesystem>
#include <system_error>

namespace Quarlen::Platform {

/// Every configured or typed path is made absolute, normal and joined here. The standard library
/// of the Windows program knows no shares: it takes `\\server\share\x` for a path of the current
/// drive. Joining a plain name with `/` is right on all systems.

/// Counts from the current folder. Throws `std::system_error`, or sets `failure` and gives the
/// empty path.
std::filesystem::path absolutePath(const std::filesystem::path& path);
std::filesystem::path absolutePath(const std::filesystem::path& path, std::error_code& failure);

bool isAbsolutePath(const std::filesystem::path& path);

/// Without "." and "..", as far as the text tells.
std::filesystem::path normalPath(const std::filesystem::path& path);

/// `name` as seen from `folder`; an absolute name stands for itself.
std::filesystem::path joinedPath(const std::filesystem::path& folder,
                                 const std::filesystem::path& name);

/// Absolute, with the links of all parts that exist resolved, so that two paths of one file are
/// equal. Throws `std::system_error`.
std::filesystem::path resolvedPath(const std::filesystem::path& path);

/// What a stream or a library can open at every length. Nobody is shown this spelling.
std::filesystem::path openablePath(const std::filesystem::path& path);

} // namespace Quarlen::Platform
