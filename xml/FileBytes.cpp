#include "xml/FileBytes.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <fstream>
#include <string>
#include <system_error>

#include "platform/SystemError.hpp"
#include "xml/Fault.hpp"

namespace Xml {
namespace {

[[noreturn]] void failRead(const std::error_code& cause) {
    throw Fault(L"cannot be read: " + Quarlen::Platform::errorText(cause));
}

/// Does not open the file: other kinds than regular ones, which have no size, could block for ever.
std::uintmax_t checkedSize(const std::filesystem::path& file, std::size_t maxSize) {
    std::error_code error;
    const auto size = std::filesystem::file_size(file, error);
    if (error) {
        failRead(error);
    }
    if (size > maxSize) {
        throw Fault(L"the file is larger than " + std::to_wstring(maxSize / 1024 / 1024) + L" MiB");
    }
    return size;
}

/// A stream need not report the cause of a failed open.
std::error_code causeOfFailedOpen() {
    return errno == 0 ? std::make_error_code(std::errc::io_error)
                      : std::error_code(errno, std::generic_category());
}

} // namespace

void readFile(const std::filesystem::path& file, std::size_t maxSize,
              const std::function<void(std::string_view part)>& take) {
    constexpr std::uintmax_t partSize = std::uintmax_t{256} * 1024;
    auto left = checkedSize(file, maxSize);
    errno = 0;
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        failRead(causeOfFailedOpen());
    }
    std::string part(static_cast<std::size_t>(std::min(left, partSize)), '\0');
    while (left > 0 && stream) {
        stream.read(part.data(), static_cast<std::streamsize>(std::min(left, partSize)));
        const auto count = static_cast<std::size_t>(stream.gcount());
        left -= count;
        take(std::string_view(part).substr(0, count));
    }
    if (stream.bad()) {
        failRead(std::make_error_code(std::errc::io_error));
    }
}

} // namespace Xml
