#include "kel_cpp/jobs/FlashFile.hpp"

#include <fstream>
#include <system_error>

#include "platform/FileNames.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "uds/Crc32.hpp"

namespace Quarlen::Kel_cpp {

namespace {

std::filesystem::path checkedPath(const std::filesystem::path& folder, const std::wstring& name) {
    const std::filesystem::path file = Platform::toPath(name);
    if (file.empty() || file != file.filename() || file == "." || file == ".." ||
        !Platform::isTakenLiterally(file)) {
        throw FlashError(L"this is no plain file name");
    }
    return folder / file;
}

FlashError unreadable(const std::error_code& failure) {
    return FlashError(L"the file cannot be read: " + Platform::errorText(failure));
}

/// Only a regular file is opened: a pipe would block until a process writes into it.
void refuseUnlessRegular(const std::filesystem::path& file) {
    std::error_code failure;
    const std::filesystem::file_status status = std::filesystem::status(file, failure);
    if (status.type() == std::filesystem::file_type::not_found) {
        throw FlashError(L"the file does not exist in " + Platform::fromPath(file.parent_path()));
    }
    if (failure) {
        throw unreadable(failure);
    }
    if (!std::filesystem::is_regular_file(status)) {
        throw FlashError(L"this is no regular file");
    }
}

std::uint64_t checkedSize(const std::filesystem::path& file) {
    refuseUnlessRegular(file);
    std::error_code failure;
    const std::uint64_t size = std::filesystem::file_size(file, failure);
    if (failure) {
        throw unreadable(failure);
    }
    if (size == 0) {
        throw FlashError(L"the file is empty");
    }
    if (size > maxFlashFileSize) {
        throw FlashError(L"the file is too large: " + std::to_wstring(size) + L" bytes, at most " +
                         std::to_wstring(maxFlashFileSize) + L" can be flashed");
    }
    return size;
}

} // namespace

Uds::Bytes readFlashFile(const std::filesystem::path& folder, const std::wstring& name) {
    const std::filesystem::path path = checkedPath(folder, name);
    Uds::Bytes content(static_cast<std::size_t>(checkedSize(path)));
    std::ifstream file(path, std::ios::binary);
    file.read(reinterpret_cast<char*>(content.data()),
              static_cast<std::streamsize>(content.size()));
    if (!file) {
        throw FlashError(L"the file cannot be read to its end: " + std::to_wstring(file.gcount()) +
                         L" of " + std::to_wstring(content.size()) + L" bytes");
    }
    return content;
}

void checkFlashFile(const Uds::Bytes& content, const FlashSessionDescription& session) {
    if (session.size && *session.size != content.size()) {
        throw FlashError(L"the file has " + std::to_wstring(content.size()) + L" of " +
                         std::to_wstring(*session.size) + L" bytes");
    }
    if (session.checksum && *session.checksum != Uds::crc32(content.data(), content.size())) {
        throw FlashError(L"the file does not have the checksum that the project says");
    }
}

} // namespace Quarlen::Kel_cpp
