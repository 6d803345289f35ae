#include "xml/FileBytes.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <fstream>
#include <string>
#include <system_error>

#include "platform/FileFacts.hpp"
#include "platform/Paths.hpp"
#include "platform/StreamError.hpp"
#include "platform/SystemError.hpp"
#include "xml/Fault.hpp"

namespace Xml {

namespace Platform = Quarlen::Platform;

namespace {

[[noreturn]] void failRead(const std::error_code& cause) {
    throw Fault(L"cannot be read: " + Platform::errorText(cause));
}

void refuseAbove(std::size_t maxSize, std::uint64_t size) {
    if (size > maxSize) {
        throw Fault(L"the file is larger than " + std::to_wstring(maxSize / 1024 / 1024) + L" MiB");
    }
}

/// Does not open the file: other kinds than regular ones could block for ever. A file may have more
/// than it announces: the system makes some up as they are read.
std::uint64_t announcedSize(const std::filesystem::path& file) {
    std::error_code error;
    const Platform::FileFacts facts = Platform::fileFacts(file, error);
    if (error) {
        failRead(error);
    }
    if (facts.kind != Platform::FileKind::Regular) {
        failRead(std::make_error_code(facts.kind == Platform::FileKind::Folder
                                          ? std::errc::is_a_directory
                                          : std::errc::not_supported));
    }
    return facts.size;
}

} // namespace

void readFile(const std::filesystem::path& file, std::size_t maxSize,
              const std::function<void(std::string_view part)>& take) {
    constexpr std::uint64_t partSize = std::uint64_t{256} * 1024;
    constexpr std::uint64_t smallestPart = 4096;
    const std::uint64_t announced = announcedSize(file);
    refuseAbove(maxSize, announced);
    errno = 0;
    std::ifstream stream(Platform::openablePath(file), std::ios::binary);
    if (!stream) {
        failRead(Platform::streamError());
    }
    // With room for one byte more the end is found by the first read.
    const auto size = std::clamp(announced + 1, smallestPart, partSize);
    std::string part(static_cast<std::size_t>(size), '\0');
    for (std::uint64_t total = 0; stream;) {
        errno = 0;
        stream.read(part.data(), static_cast<std::streamsize>(part.size()));
        const auto count = static_cast<std::size_t>(stream.gcount());
        total += count;
        refuseAbove(maxSize, total);
        if (count > 0) {
            take(std::string_view(part).substr(0, count));
        }
    }
    if (stream.bad()) {
        failRead(Platform::streamError());
    }
}

} // namespace Xml
