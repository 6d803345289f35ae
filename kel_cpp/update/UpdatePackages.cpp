#include "kel_cpp/update/UpdatePackages.hpp"

#include <algorithm>
#include <mutex>
#include <system_error>
#include <utility>

#include "kel_cpp/base/PathFault.hpp"
#include "kel_cpp/base/RuntimeError.hpp"
#include "kel_cpp/update/ZipContents.hpp"
#include "platform/AtomicFile.hpp"
#include "platform/FileActions.hpp"
#include "platform/FileFacts.hpp"
#include "platform/FileNames.hpp"
#include "platform/FlushFile.hpp"
#include "platform/Paths.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "std_util/TraceHelper.hpp"

namespace Quarlen::Kel_cpp {
namespace {

namespace fs = std::filesystem;

struct CheckedPackage {
    /// Path with all links resolved.
    fs::path file;
    std::uint64_t size = 0;
    std::size_t entryCount = 0;
    fs::path partial;
    fs::path staged;
};

KelApiException packageError(const std::wstring& package, const std::wstring& cause) {
    return runtimeError(ErrorCode::Update, L"update package \"" + package + L"\": " + cause);
}

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

std::uint64_t sizeOf(const fs::path& file) {
    std::error_code failure;
    const std::uint64_t size = Platform::fileFacts(file, failure).size;
    if (failure) {
        throw std::system_error(failure);
    }
    return size;
}

CheckedPackage check(const std::wstring& package, const fs::path& updateFolder,
                     const fs::path& stagingFolder) {
    CheckedPackage checked;
    checked.file = locate(package, updateFolder);
    checked.entryCount = zipEntryNames(checked.file).size();
    checked.size = sizeOf(checked.file);
    checked.staged = stagingFolder / checked.file.filename();
    checked.partial = checked.staged;
    checked.partial += ".partial";
    return checked;
}

std::vector<CheckedPackage> checkAll(const RecordList<UpdatePackageInfo>& packages,
                                     const fs::path& updateFolder, const fs::path& stagingFolder) {
    std::vector<CheckedPackage> checked;
    for (const auto& package : packages) {
        if (package == nullptr) {
            throw packageError(std::wstring(), L"its record is missing");
        }
        const std::wstring& path = package->packagePath;
        try {
            CheckedPackage next = check(path, updateFolder, stagingFolder);
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

/// Removes the files staged so far unless all packages were staged.
class Staging {
public:
    explicit Staging(Platform::Clock& clock) : clock(clock) {}
    Staging(const Staging&) = delete;
    Staging& operator=(const Staging&) = delete;
    ~Staging() {
        for (const fs::path& file : written) {
            Platform::removeFile(file);
        }
    }

    void copy(const CheckedPackage& package) {
        written.push_back(package.partial);
        Platform::copyFile(package.file, package.partial, clock);
        Platform::flushFile(package.partial, clock);
    }
    void publish(const CheckedPackage& package) {
        const bool isNew = !Platform::isThere(package.staged);
        Platform::moveOver(package.partial, package.staged, clock);
        if (isNew) {
            written.push_back(package.staged);
        }
    }
    void keep() noexcept { written.clear(); }

private:
    Platform::Clock& clock;
    std::vector<fs::path> written;
};

/// Makes all copies first, which can fail for many reasons, then all renames, which rarely fail.
void stageAll(const std::vector<CheckedPackage>& packages, Platform::Clock& clock) {
    Staging staging(clock);
    for (const CheckedPackage& package : packages) {
        Platform::createFolders(package.staged.parent_path());
        staging.copy(package);
    }
    for (const CheckedPackage& package : packages) {
        staging.publish(package);
    }
    staging.keep();
}

void describe(UpdatePackageInfo& record, const CheckedPackage& package) {
    record.name = Platform::fromPath(package.staged.stem());
    record.stagedPath = Platform::fromPath(package.staged);
    record.size = package.size;
    record.state = L"Staged";
    record.message = std::to_wstring(package.entryCount) + L" entries";
}

std::shared_ptr<UpdateDescription> describeContainer(const std::wstring& path) {
    auto description = std::make_shared<UpdateDescription>();
    description->packagePath = path;
    try {
        description->entries = zipEntryNames(validPath(path));
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
    const auto checked = checkAll(packages, updateFolder, stagingFolder);
    try {
        stageAll(checked, clock);
    } catch (const std::system_error& error) {
        throw runtimeError(ErrorCode::Update, L"cannot stage update packages in " +
                                                  Platform::fromPath(stagingFolder) + L": " +
                                                  Platform::errorText(error.code()));
    }
    for (std::size_t index = 0; index < packages.size(); ++index) {
        describe(*packages[index], checked[index]);
    }
}

} // namespace Quarlen::Kel_cpp
