#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "kel_server_lib/runtime/UpdateRecords.hpp"

namespace Quarlen::Kel_cpp {

/// Reads the table of contents of each container (.pdx, .zip: both are ZIP archives). A container
/// that cannot be read is traced as an error and described by its message alone, so that a bad file
/// in a data folder does not block the others.
void describeUpdatePackages(const std::vector<std::wstring>& paths,
                            RecordList<UpdateDescription>& descriptions);

/// Checks every package (a regular file, inside `updateFolder` also after links are resolved, a
/// readable archive) and only then stages all of them (copies into `stagingFolder`, atomically, one
/// by one) and fills the records. Throws `KelApiException` (code Update) that names package and
/// cause; then nothing new is staged.
void stageUpdatePackages(const RecordList<UpdatePackageInfo>& packages,
                         const std::filesystem::path& updateFolder,
                         const std::filesystem::path& stagingFolder);

} // namespace Quarlen::Kel_cpp
