#include "kel_cpp/update/UpdatePackages.hpp"

#include <algorithm>
#include <mutex>
#include <system_error>
#include <utility>

#include "kel_cpp/base/PathFault.hpp"
#include "kel_cpp/update/Staging.hpp"
#include "kel_cpp/update/ZipContents.hpp"
#include "platform/FileNames.hpp"
#include "platform/Paths.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "platform/UnfinishedFiles.hpp"
#include "std_util/TraceHelper.hpp"

namespace Quarlen::Kel_cpp {
namespace {

namespace fs = std::filesystem;

bool isInside(const fs::path& file, const fs::path& folder) {
    const auto [folderEnd, fileEnd] = std::mismatch(folder.begin(), folder.end(), file.begin(),
                                                    file.end(), Platform::isSameFileName);
    return folderEnd == folder.end() && fileEnd != file.end();
}

fs::path withoutTrailingSeparator(const fs::path& folder) {
    return folder.has_filename() ? folder : folder.parent_path();
}

fs::path validPath(const std::wstring& package) {
    fs::path path = Platform::toPath(package);
    if (path.empty()) {
        throw packageError(package, L"its path " + pathFault(package));
    }
    if (!Platform::isTakenLiterally(path)) {
        throw packageError(package, L"no file can have this name");
    }
    return path;
}

/// Refuses a path that leads out of the folder before it checks whether the file exists.
fs::path locate(const std::wstring& package, const fs::path& updateFolder) {
    fs::path file = Platform::resolvedPath(validPath(package));
    if (!isInside(file, withoutTrailingSeparator(Platform::resolvedPath(updateFolder)))) {
        throw packageError(package, L"it is not inside the update folder");
    }
    return file;
}

/// A copy that is being made must never meet a package that has its name.
StagedPackage check(const std::wstring& package, const fs::path& updateFolder,
                    const fs::path& stagingFolder) {
    StagedPackage checked;
    checked.name = package;
    checked.file = locate(package, updateFolder);
    if (Platform::isUnfinishedFileName(checked.file)) {
        throw packageError(package, L"only unfinished files have such a name");
    }
    static_cast<void>(zipEntryNames(checked.file, package));
    checked.staged = stagingFolder / checked.file.filename();
    return checked;
}

std::vector<StagedPackage> checkAll(const RecordList<UpdatePackageInfo>& packages,
                                    const fs::path& updateFolder, const fs::path& stagingFolder) {
    std::vector<StagedPackage> checked;
    for (const auto& package : packages) {
        if (package == nullptr) {
            throw packageError(std::wstring(), L"its record is missing");
        }
        const std::wstring& path = package->packagePath;
        try {
            StagedPackage next = check(path, updateFolder, stagingFolder);
            const bool nameTaken =
                std::any_of(checked.begin(), checked.end(), [&](const auto& other) {
                    return Platform::isSameFileName(other.staged, next.staged);
                });
            if (nameTaken) {
                throw packageError(path, L"another package of the list has the same file name");
            }
            checked.push_back(std::move(next));
        } catch (const std::system_error& error) {
            throw packageError(path, Platform::errorText(error.code()));
        }
    }
    return checked;
}

void describe(UpdatePackageInfo& record, const StagedPackage& package) {
    record.name = Platform::fromPath(package.staged.stem());
    record.stagedPath = Platform::fromPath(package.staged);
    record.size = package.size;
    record.state = L"Staged";
    record.message = std::to_wstring(package.entryCount) + L" entries, SHA-256 " + package.sha256;
    StdUtil::TraceHelper::InfoTrace(L"kel_cpp/update/UpdatePackages", __LINE__,
                                    L"update package \"%s\" is staged: %s", package.name.c_str(),
                                    record.message.c_str());
}

std::shared_ptr<UpdateDescription> describeContainer(const std::wstring& path) {
    auto description = std::make_shared<UpdateDescription>();
    description->packagePath = path;
    try {
        description->entries = checkedZipEntryNames(validPath(path), path);
    } catch (const KelApiException& unreadable) {
        description->message = unreadable.message();
        StdUtil::TraceHelper::ErrorTrace(L"kel_cpp/update/UpdatePackages", __LINE__, L"%s",
                                         description->message.c_str());
    }
    return description;
}

} // namespace

void describeUpdatePackages(const std::vector<std::wstring>& paths,
                            RecordList<UpdateDescription>& descriptions) {
    RecordList<UpdateDescription> found;
    for (const std::wstring& path : paths) {
        found.push_back(describeContainer(path));
    }
    descriptions = std::move(found);
}

void stageUpdatePackages(const RecordList<UpdatePackageInfo>& packages,
                         const fs::path& updateFolder, const fs::path& stagingFolder,
                         Platform::Clock& clock) {
    // Two requests at once would write the same files.
    static std::mutex oneAtATime;
    const std::lock_guard lock(oneAtATime);
    auto staged = checkAll(packages, updateFolder, stagingFolder);
    stageAll(staged, clock);
    for (std::size_t index = 0; index < packages.size(); ++index) {
        describe(*packages[index], staged[index]);
    }
}

} // namespace Quarlen::Kel_cpp
