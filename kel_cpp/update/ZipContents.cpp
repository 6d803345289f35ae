#include "kel_cpp/update/ZipContents.hpp"

#include <algorithm>
#include <memory>
#include <string_view>
#include <system_error>
#include <utility>

#include <zip.h>

#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "kel_cpp/base/RuntimeError.hpp"
#include "platform/FileFacts.hpp"
#include "platform/Paths.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"

namespace Quarlen::Kel_cpp {
namespace {

using ZipHandle = std::unique_ptr<zip_t, decltype(&zip_discard)>;
using EntryHandle = std::unique_ptr<zip_file_t, decltype(&zip_fclose)>;

/// An archive and what it is called in messages.
struct OpenPackage {
    ZipHandle archive;
    std::wstring name;
};

std::wstring zipErrorText(zip_error_t* error) {
    const std::error_code cause(zip_error_code_system(error), std::generic_category());
    const char* const words = zip_error_strerror(error);
    return zip_error_system_type(error) == ZIP_ET_SYS
               ? Platform::textWithCause(words, cause.message(), cause)
               : Platform::fromUtf8(words);
}

/// Of an archive that could not be opened just now: `errno` has the system's part of the error.
std::wstring zipErrorText(int code) {
    zip_error_t error;
    zip_error_init_with_code(&error, code);
    std::wstring text = zipErrorText(&error);
    zip_error_fini(&error);
    return text;
}

/// The library takes an empty file for an archive without entries and blocks for ever on some files
/// that are not regular.
void checkFile(const std::filesystem::path& file, const std::wstring& package) {
    std::error_code error;
    const Platform::FileFacts facts = Platform::fileFacts(file, error);
    if (facts.kind != Platform::FileKind::Regular) {
        throw packageError(package, L"there is no regular file of this name");
    }
    if (facts.size == 0) {
        throw packageError(package, L"the file is empty");
    }
}

OpenPackage openPackage(const std::filesystem::path& file, const std::wstring& package) {
    checkFile(file, package);
    int code = ZIP_ER_OK;
    ZipHandle archive(
        zip_open(Platform::toUtf8(Platform::fromPath(Platform::openablePath(file))).c_str(),
                 ZIP_RDONLY, &code),
        &zip_discard);
    if (archive == nullptr) {
        throw packageError(package, L"not a readable archive: " + zipErrorText(code));
    }
    return {std::move(archive), package};
}

bool isDriveLetter(wchar_t character) {
    return (character >= L'A' && character <= L'Z') || (character >= L'a' && character <= L'z');
}

/// Both separators count on all systems: nobody knows on which one the archive is unpacked.
bool leadsOutside(std::wstring_view name) {
    constexpr std::wstring_view separators = L"/\\";
    if (name.find_first_of(separators) == 0 ||
        (name.size() > 1 && isDriveLetter(name[0]) && name[1] == L':')) {
        return true;
    }
    while (!name.empty()) {
        const std::size_t end = std::min(name.find_first_of(separators), name.size());
        if (name.substr(0, end) == L"..") {
            return true;
        }
        name.remove_prefix(std::min(end + 1, name.size()));
    }
    return false;
}

std::wstring entryName(const OpenPackage& package, zip_uint64_t index) {
    const char* const name = zip_get_name(package.archive.get(), index, ZIP_FL_ENC_GUESS);
    if (name == nullptr) {
        throw packageError(package.name,
                           L"entry " + std::to_wstring(index) + L" has no readable name");
    }
    std::wstring text = Platform::fromUtf8(name);
    if (leadsOutside(text)) {
        throw packageError(package.name,
                           L"the name of entry " + inQuotes(text) + L" leads out of the archive");
    }
    return text;
}

std::vector<std::wstring> entryNames(const OpenPackage& package) {
    const auto count = static_cast<zip_uint64_t>(zip_get_num_entries(package.archive.get(), 0));
    if (count > maxZipEntries) {
        throw packageError(package.name, L"the archive has more than " +
                                             std::to_wstring(maxZipEntries) + L" entries");
    }
    std::vector<std::wstring> names;
    for (zip_uint64_t index = 0; index < count; ++index) {
        names.push_back(entryName(package, index));
    }
    return names;
}

KelApiException entryError(const OpenPackage& package, const std::wstring& entry,
                           zip_error_t* error) {
    return packageError(package.name,
                        L"entry " + inQuotes(entry) + L" cannot be read: " + zipErrorText(error));
}

/// The size of the entry as it comes. The library checks the checksum once it has read the end;
/// reading ends before that where more than `max` bytes come.
std::uint64_t unpackedSize(const OpenPackage& package, zip_uint64_t index,
                           const std::wstring& entry, std::uint64_t max) {
    constexpr std::size_t pieceSize = std::size_t{64} * 1024;
    const EntryHandle opened(zip_fopen_index(package.archive.get(), index, 0), &zip_fclose);
    if (opened == nullptr) {
        throw entryError(package, entry, zip_get_error(package.archive.get()));
    }
    std::vector<char> piece(pieceSize);
    std::uint64_t size = 0;
    zip_int64_t count = 0;
    do {
        count = zip_fread(opened.get(), piece.data(), piece.size());
        if (count < 0) {
            throw entryError(package, entry, zip_file_get_error(opened.get()));
        }
        size += static_cast<std::uint64_t>(count);
    } while (count > 0 && size <= max);
    return size;
}

} // namespace

KelApiException packageError(const std::wstring& package, const std::wstring& cause) {
    return runtimeError(ErrorCode::Update, L"update package " + inQuotes(package) + L": " + cause);
}

std::vector<std::wstring> zipEntryNames(const std::filesystem::path& file,
                                        const std::wstring& package) {
    return entryNames(openPackage(file, package));
}

std::vector<std::wstring> checkedZipEntryNames(const std::filesystem::path& file,
                                               const std::wstring& package,
                                               std::uint64_t maxUnpacked) {
    const OpenPackage opened = openPackage(file, package);
    std::vector<std::wstring> names = entryNames(opened);
    std::uint64_t size = 0;
    for (std::size_t index = 0; index < names.size(); ++index) {
        size += unpackedSize(opened, index, names[index], maxUnpacked - size);
        if (size > maxUnpacked) {
            throw packageError(package, L"its entries have more than " +
                                            std::to_wstring(maxUnpacked) + L" bytes in all");
        }
    }
    return names;
}

} // namespace Quarlen::Kel_cpp
