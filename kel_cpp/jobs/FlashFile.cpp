#include "kel_cpp/jobs/FlashFile.hpp"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <system_error>

#include "platform/FileFacts.hpp"
#include "platform/FileNames.hpp"
#include "platform/Paths.hpp"
#include "platform/StreamError.hpp"
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

void refuseTooLarge(std::uint64_t size) {
    if (size > maxFlashFileSize) {
        throw FlashError(L"the file is too large: " + std::to_wstring(size) + L" bytes, at most " +
                         std::to_wstring(maxFlashFileSize) + L" can be flashed");
    }
}

/// Only a regular file is opened: a pipe would block until a process writes into it. Returns the
/// size that the file announces.
std::uint64_t checkedSize(const std::filesystem::path& file) {
    std::error_code failure;
    const Platform::FileFacts facts = Platform::fileFacts(file, failure);
    if (facts.kind == Platform::FileKind::Missing) {
        throw FlashError(L"the file does not exist in " + Platform::fromPath(file.parent_path()));
    }
    if (failure) {
        throw unreadable(failure);
    }
    if (facts.kind != Platform::FileKind::Regular) {
        throw FlashError(L"this is no regular file");
    }
    refuseTooLarge(facts.size);
    return facts.size;
}

/// To the end, whatever the file announces.
Uds::Bytes contentOf(std::ifstream& file, std::uint64_t announced) {
    constexpr std::size_t growth = std::size_t{64} * 1024;
    // With room for one byte more the end is found by the first read.
    Uds::Bytes content(static_cast<std::size_t>(announced) + 1);
    std::size_t count = 0;
    while (file) {
        content.resize(std::max(content.size(), count + (count < content.size() ? 0 : growth)));
        errno = 0;
        file.read(reinterpret_cast<char*>(content.data()) + count,
                  static_cast<std::streamsize>(content.size() - count));
        count += static_cast<std::size_t>(file.gcount());
        refuseTooLarge(count);
    }
    content.resize(count);
    return content;
}

} // namespace

Uds::Bytes readFlashFile(const std::filesystem::path& folder, const std::wstring& name) {
    const std::filesystem::path path = checkedPath(folder, name);
    const std::uint64_t announced = checkedSize(path);
    errno = 0;
    std::ifstream file(Platform::openablePath(path), std::ios::binary);
    if (!file) {
        throw unreadable(Platform::streamError());
    }
    Uds::Bytes content = contentOf(file, announced);
    if (file.bad()) {
        throw unreadable(Platform::streamError());
    }
    if (content.size() < announced) {
        throw FlashError(L"the file cannot be read to its end: " + std::to_wstring(content.size()) +
                         L" of " + std::to_wstring(announced) + L" bytes");
    }
    if (content.empty()) {
        throw FlashError(L"the file is empty");
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
