#pragma once

#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <utility>

#include "kel_cpp/projects/Project.hpp"
#include "kel_cpp/uds/Uds.hpp"

namespace Quarlen::Kel_cpp {

/// A flash session cannot go on, for a reason that neither the interface nor a negative response
/// gives.
class FlashError : public std::runtime_error {
public:
    explicit FlashError(std::wstring text)
        : std::runtime_error("FlashError"), messageText(std::move(text)) {}
    [[nodiscard]] const std::wstring& message() const noexcept { return messageText; }

private:
    std::wstring messageText;
};

/// No control unit has more flash memory than this; a file beyond it is not even read.
inline constexpr std::uint64_t largestFlashFile = std::uint64_t{256} * 1024 * 1024;

/// The whole file. Throws `FlashError`: the name is more than a file name, there is no such regular
/// file, it is empty, too large, or cannot be read to its end.
Uds::Bytes readFlashFile(const std::filesystem::path& folder, const std::wstring& name);

/// Throws `FlashError` when the content is not what the project says about the session's file: a
/// part of a file or another file must not reach a control unit.
void checkFlashFile(const Uds::Bytes& content, const FlashSessionDescription& session);

} // namespace Quarlen::Kel_cpp
