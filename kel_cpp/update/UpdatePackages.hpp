#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "kel_server_lib/runtime/UpdateRecords.hpp"
#include "platform/Clock.hpp"

/// Updates arrive as archives that somebody has put into the update folder, perhaps cut off on the
/// way or named so as to reach another folder. So nothing is taken on trust and nothing by halves:
/// every package is checked first, and only when all are good they are copied into the staging
/// folder. Both folders belong to the caller and hold all the state. Any thread may call these
/// functions; a second one that stages waits for the first.
namespace Quarlen::Kel_cpp {

/// Reads each container (.pdx, .zip: both are ZIP archives) once, so that its entries' checksums
/// are known to be right, and lists them. A container that cannot be used is traced as an error and
/// described by its message alone, so that a bad file in a data folder does not block the others.
void describeUpdatePackages(const std::vector<std::wstring>& paths,
                            RecordList<UpdateDescription>& descriptions);

/// Checks every package (a regular file, inside `updateFolder` also after links are resolved, a
/// readable archive) and only then stages all of them (copies into `stagingFolder`, reads each copy
/// once so that its entries' checksums are known to be right, and publishes it atomically) and
/// fills the records; the message has the copy's SHA-256. Throws `KelApiException` (code Update)
/// that names package and cause; then nothing new is staged. Waits on the clock where a program
/// that has one of the files open, such as a virus scanner, keeps it from being staged.
void stageUpdatePackages(const RecordList<UpdatePackageInfo>& packages,
                         const std::filesystem::path& updateFolder,
                         const std::filesystem::path& stagingFolder,
                         Platform::Clock& clock = Platform::systemClock());

} // namespace Quarlen::Kel_cpp
