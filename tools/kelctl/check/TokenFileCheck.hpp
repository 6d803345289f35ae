#pragma once

#include <filesystem>
#include <string>

namespace Quarlen::Ctl {

/// Why a file with the tokens of clients lets nobody in; empty where it lets somebody in.
std::wstring tokenFileFault(const std::filesystem::path& file);

} // namespace Quarlen::Ctl
