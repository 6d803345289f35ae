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
#include "uds/LinkError.hpp"

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

/// Between two looks at the cancel.
constexpr std::size_t pieceSize = std::size_t{1024} * 1024;

void throwIfCancelled(const std::stop_token& cancel) {
    if (cancel.stop_requested()) {
        throw Uds::Cancelled();
    }
}

/// To the end, whatever the file announces.
Uds::Bytes contentOf(std::ifstream& file, std::uint64_t announced, const std::stop_token& cancel) {
    Uds::Bytes content;
    // With room for the last read, which finds the end: growing would copy everything.
    content.reserve(static_cast<std::size_t>(announced) + pieceSize);
    std::size_t count = 0;
    while (file) {
        throwIfCancelled(cancel);
        content.resize(count + pieceSize);
        errno = 0;
        file.read(reinterpret_cast<char*>(content.data()) + count,
                  static_cast<std::streamsize>(pieceSize));
        count += static_cast<std::size_t>(file.gcount());
        refuseTooLarge(count);
    }
    content.resize(count);
    return content;
}

} // namespace

Uds::Bytes readFlashFile(const std::filesystem::path& folder, const std::wstring& name,
                         const std::stop_token& cancel) {
    const std::filesystem::path path = checkedPath(folder, name);
    const std::uint64_t announced = checkedSize(path);
    errno = 0;
    std::ifstream file(Platform::openablePath(path), std::ios::binary);
    if (!file) {
        throw unreadable(Platform::streamError());
    }
    Uds::Bytes content = contentOf(file, announced, cancel);
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

std::uint32_t checksumOf(const Uds::Bytes& content, const std::stop_token& cancel) {
    std::uint32_t checksum = 0;
    for (std::size_t done = 0; done < content.size(); done += pieceSize) {
        throwIfCancelled(cancel);
        checksum =
            Uds::crc32(content.data() + done, std::min(pieceSize, content.size() - done), checksum);
    }
    return checksum;
}

void checkFlashFile(const Uds::Bytes& content, const FlashSessionDescription& session,
                    const std::stop_token& cancel) {
    if (!session.size && !session.checksum && !session.unchecked) {
        throw FlashError(
            L"the project tells neither the size nor the checksum of the file, so that "
            L"nobody knows whether it is whole; unchecked=\"true\" in the project "
            L"lets it be flashed");
    }
    if (session.size && *session.size != content.size()) {
        throw FlashError(L"the file has " + std::to_wstring(content.size()) + L" of " +
                         std::to_wstring(*session.size) + L" bytes");
    }
    if (session.checksum && *session.checksum != checksumOf(content, cancel)) {
        throw FlashError(L"the file does not have the checksum that the project says");
    }
}

} // namespace Quarlen::Kel_cpp
