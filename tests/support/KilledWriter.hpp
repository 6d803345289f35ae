#pragma once

#include <filesystem>
#include <string>

namespace Quarlen::Tests {

/// The name that the file would have if a process had written it that had this process's number
/// earlier.
inline std::filesystem::path ofAKilledProcess(const std::filesystem::path& unfinished) {
    std::string name = unfinished.filename().string();
    name.insert(name.rfind('-'), "0");
    return unfinished.parent_path() / name;
}

} // namespace Quarlen::Tests
