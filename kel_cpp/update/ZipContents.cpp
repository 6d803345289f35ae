#include "kel_cpp/update/ZipContents.hpp"

#include <memory>
#include <system_error>

#include <zip.h>

#include "kel_cpp/base/RuntimeError.hpp"
#include "platform/FileFacts.hpp"
#include "platform/Paths.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"

namespace Quarlen::Kel_cpp {
namespace {

using ZipHandle = std::unique_ptr<zip_t, decltype(&zip_discard)>;

KelApiException archiveError(const std::filesystem::path& file, const std::wstring& cause) {
    return runtimeError(ErrorCode::Update, Platform::fromPath(file) + L": " + cause);
}

/// Of an archive that could not be opened just now: `errno` has the system's part of the error.
std::wstring zipErrorText(int code) {
    zip_error_t error;
    zip_error_init_with_code(&error, code);
    const std::error_code cause(zip_error_code_system(&error), std::generic_category());
    const char* const words = zip_error_strerror(&error);
    std::wstring text = zip_error_system_type(&error) == ZIP_ET_SYS
                            ? Platform::textWithCause(words, cause.message(), cause)
                            : Platform::fromUtf8(words);
    zip_error_fini(&error);
    return text;
}

/// The library takes an empty file for an archive without entries and blocks for ever on some files
/// that are not regular.
void checkFile(const std::filesystem::path& file) {
    std::error_code error;
    const Platform::FileFacts facts = Platform::fileFacts(file, error);
    if (facts.kind != Platform::FileKind::Regular) {
        throw archiveError(file, L"there is no regular file of this name");
    }
    if (facts.size == 0) {
        throw archiveError(file, L"the file is empty");
    }
}

ZipHandle openArchive(const std::filesystem::path& file) {
    int code = ZIP_ER_OK;
    ZipHandle archive(
        zip_open(Platform::toUtf8(Platform::fromPath(Platform::openablePath(file))).c_str(),
                 ZIP_RDONLY, &code),
        &zip_discard);
    if (archive == nullptr) {
        throw archiveError(file, L"not a readable archive: " + zipErrorText(code));
    }
    return archive;
}

std::wstring entryName(const std::filesystem::path& file, zip_t* archive, zip_uint64_t index) {
    const char* name = zip_get_name(archive, index, ZIP_FL_ENC_GUESS);
    if (name == nullptr) {
        throw archiveError(file, L"entry " + std::to_wstring(index) + L" has no readable name");
    }
    return Platform::fromUtf8(name);
}

} // namespace

std::vector<std::wstring> zipEntryNames(const std::filesystem::path& file) {
    checkFile(file);
    const ZipHandle archive = openArchive(file);
    const auto count = static_cast<zip_uint64_t>(zip_get_num_entries(archive.get(), 0));
    if (count > maxZipEntries) {
        throw archiveError(file, L"the archive has more than 100000 entries");
    }
    std::vector<std::wstring> names;
    for (zip_uint64_t index = 0; index < count; ++index) {
        names.push_back(entryName(file, archive.get(), index));
    }
    return names;
}

} // namespace Quarlen::Kel_cpp
