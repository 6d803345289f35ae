#pragma once

#include <filesystem>
#include <string>

namespace Quarlen::Ctl {

/// Makes a folder in the system's one for temporary files, its name beginning with `prefix`.
/// Nobody else can put a file into it. Throws `Failure` (Refused) that tells the cause.
std::filesystem::path newTemporaryFolder(const std::string& prefix);

} // namespace Quarlen::Ctl
