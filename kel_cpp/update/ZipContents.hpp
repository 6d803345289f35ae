#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "kel_server_lib/runtime/KelApiException.hpp"

namespace Quarlen::Kel_cpp {

/// Archives with more entries are refused.
inline constexpr std::size_t maxZipEntries = 100'000;
/// Archives whose entries have more bytes in all, once they are unpacked, are refused.
inline constexpr std::uint64_t maxUnpackedSize = std::uint64_t{4} * 1024 * 1024 * 1024;

/// What is told of an update package, by the path that its caller has given. Code Update.
[[nodiscard]] KelApiException packageError(const std::wstring& package, const std::wstring& cause);

/// Names of the entries of a ZIP archive, in its order. Reads the table of contents only. An entry
/// that would be unpacked outside of the archive's own folder makes the archive unusable: an
/// absolute name, a drive, "..". Throws `packageError`.
std::vector<std::wstring> zipEntryNames(const std::filesystem::path& file,
                                        const std::wstring& package);

/// As above, after each entry has been unpacked once, in pieces, so that its checksum is known to
/// be right. What the table of contents says of sizes is not relied on.
std::vector<std::wstring> checkedZipEntryNames(const std::filesystem::path& file,
                                               const std::wstring& package,
                                               std::uint64_t maxUnpacked = maxUnpackedSize);

} // namespace Quarlen::Kel_cpp
