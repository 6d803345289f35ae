#pragma once

#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <utility>

#include "kel_cpp/projects/Project.hpp"
#include "uds/Uds.hpp"

namespace Quarlen::Kel_cpp {

/// A flash session failed for a reason other than the interface or a negative response.
class FlashError : public std::runtime_error {
public:
    explicit FlashError(std::wstring text)
        : std::runtime_error("FlashError"), messageText(std::move(text)) {}
    [[nodiscard]] const std::wstring& message() const noexcept { return messageText; }

private:
    std::wstring messageText;
};

/// No control unit has more flash memory; a larger file is refused without being read.
inline constexpr std::uint64_t maxFlashFileSize = std::uint64_t{256} * 1024 * 1024;

// A cancel ends each of these in the middle of a file, within a few milliseconds.

/// Returns the whole file. Throws `FlashError` when the name is not a plain file name or the file
/// is missing, not regular, empty, too large or not readable to its end; `Uds::Cancelled`.
Uds::Bytes readFlashFile(const std::filesystem::path& folder, const std::wstring& name,
                         const std::stop_token& cancel = {});

/// Throws `FlashError` when the content differs from the project's data about the session's file,
/// or the project has none and does not let the file be flashed unchecked, so that a truncated or
/// wrong file never reaches a control unit; `Uds::Cancelled`.
void checkFlashFile(const Uds::Bytes& content, const FlashSessionDescription& session,
                    const std::stop_token& cancel = {});

/// The CRC-32 of the whole content. Throws `Uds::Cancelled`.
std::uint32_t checksumOf(const Uds::Bytes& content, const std::stop_token& cancel = {});

} // namespace Quarlen::Kel_cpp
