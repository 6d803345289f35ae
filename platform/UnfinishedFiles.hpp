#pragma once

#include <filesystem>

namespace Quarlen::Platform {

/// The names of a file that is to take the place of another one, in the same folder. They tell that
/// other one and the process that writes, so that what a killed process leaves can be told from the
/// file of one that still writes.
struct UnfinishedFile {
    /// A new pair of names.
    explicit UnfinishedFile(const std::filesystem::path& target);

    std::filesystem::path partial;
    /// Once the whole content is on the disk.
    std::filesystem::path complete;
};

/// True for the names that only unfinished files have.
bool isUnfinishedFileName(const std::filesystem::path& file);

/// Cleans up behind writers of that file that were killed: where it is missing the newest complete
/// one takes its place; all other files of such writers are removed. Touches nothing of a
/// process that still runs, or that ran on another machine. What the system refuses stays.
void settleUnfinishedFiles(const std::filesystem::path& name) noexcept;

} // namespace Quarlen::Platform
