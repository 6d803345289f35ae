#pragma once

#include <cstdint>
#include <filesystem>
#include <stdexcept>
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

/// Returns the whole file. Throws `FlashError` when the name is not a plain file name or the file
/// is missing, not regular, empty, too large or not readable to its end.
Uds::Bytes readFlashFile(const std::filesystem::path& folder, const std::wstring& name);

/// Throws `FlashError` when the content differs from the project's data about the session's file,
/// so that a truncated or wrong file never reaches a control unit.
void checkFlashFile(const Uds::Bytes& content, const FlashSessionDescription& session);

} // namespace Quarlen::Kel_cpp
