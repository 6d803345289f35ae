#pragma once

#include <filesystem>

namespace Quarlen::Platform {

/// Shows a file with the program that the user has chosen for its kind. False when there is none.
/// Returns when that program has taken the file over; what it says is not shown.
bool openInViewer(const std::filesystem::path& file);

} // namespace Quarlen::Platform
