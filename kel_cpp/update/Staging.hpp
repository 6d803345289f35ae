#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/Clock.hpp"

namespace Quarlen::Kel_cpp {

/// One package on its way into the staging folder.
struct StagedPackage {
    /// The path that its caller has given.
    std::wstring name;
    /// That path with all links resolved.
    std::filesystem::path file;
    std::filesystem::path staged;
    /// Of the copy, once it has been made.
    std::size_t entryCount = 0;
    std::uint64_t size = 0;
    /// In hexadecimal digits.
    std::wstring sha256;
};

/// Makes all copies first, which can fail for many reasons, and checks what the copies hold, so
/// that nobody can change it afterwards; then come all renames, which rarely fail. Until then a
/// copy has a name that no package can have. Throws `packageError`; then no new file is left.
void stageAll(std::vector<StagedPackage>& packages, Platform::Clock& clock);

} // namespace Quarlen::Kel_cpp
