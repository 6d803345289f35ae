#include "kel_cpp/update/Staging.hpp"

#include <cerrno>
#include <fstream>
#include <string_view>
#include <system_error>

#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "kel_cpp/update/ZipContents.hpp"
#include "platform/AtomicFile.hpp"
#include "platform/FileActions.hpp"
#include "platform/FileFacts.hpp"
#include "platform/FlushFile.hpp"
#include "platform/Paths.hpp"
#include "platform/Sha256.hpp"
#include "platform/StreamError.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "platform/UnfinishedFiles.hpp"

namespace Quarlen::Kel_cpp {
namespace {

namespace fs = std::filesystem;

std::wstring hexadecimalDigits(const Platform::Sha256Digest& digest) {
    constexpr std::wstring_view digits = L"0123456789abcdef";
    std::wstring text;
    for (const unsigned byte : digest) {
        text += digits[byte / digits.size()];
        text += digits[byte % digits.size()];
    }
    return text;
}

void throwUnless(bool succeeded) {
    if (!succeeded) {
        throw std::system_error(Platform::streamError());
    }
}

/// Hashes the file and counts its bytes.
void measure(const fs::path& file, StagedPackage& package) {
    constexpr std::size_t pieceSize = std::size_t{64} * 1024;
    Platform::Sha256 hash;
    std::vector<char> piece(pieceSize);
    errno = 0;
    std::ifstream content(Platform::openablePath(file), std::ios::binary);
    throwUnless(content.is_open());
    while (content) {
        errno = 0;
        content.read(piece.data(), static_cast<std::streamsize>(piece.size()));
        const auto count = static_cast<std::size_t>(content.gcount());
        hash.add({piece.data(), count});
        package.size += count;
    }
    throwUnless(!content.bad());
    package.sha256 = hexadecimalDigits(hash.finish());
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

    /// Returns the copy.
    fs::path copy(const StagedPackage& package) {
        Platform::createFolders(package.staged.parent_path());
        Platform::settleUnfinishedFiles(package.staged);
        fs::path partial = Platform::UnfinishedFile(package.staged).partial;
        written.push_back(partial);
        Platform::copyFile(package.file, partial, clock);
        Platform::flushFile(partial, clock);
        return partial;
    }
    void publish(const fs::path& partial, const fs::path& staged) {
        const bool isNew = !Platform::isThere(staged);
        Platform::moveOver(partial, staged, clock);
        if (isNew) {
            written.push_back(staged);
        }
    }
    void keep() noexcept { written.clear(); }

private:
    Platform::Clock& clock;
    std::vector<fs::path> written;
};

template <class Step>
void forPackage(const StagedPackage& package, Step step) {
    try {
        step();
    } catch (const std::system_error& error) {
        const std::wstring folder = Platform::fromPath(package.staged.parent_path());
        throw packageError(package.name, L"it cannot be staged in " + inQuotes(folder) + L": " +
                                             Platform::errorText(error.code()));
    }
}

} // namespace

void stageAll(std::vector<StagedPackage>& packages, Platform::Clock& clock) {
    Staging staging(clock);
    std::vector<fs::path> copies;
    for (StagedPackage& package : packages) {
        forPackage(package, [&] {
            copies.push_back(staging.copy(package));
            package.entryCount = checkedZipEntryNames(copies.back(), package.name).size();
            measure(copies.back(), package);
        });
    }
    for (std::size_t index = 0; index < packages.size(); ++index) {
        forPackage(packages[index],
                   [&] { staging.publish(copies[index], packages[index].staged); });
    }
    staging.keep();
}

} // namespace Quarlen::Kel_cpp
