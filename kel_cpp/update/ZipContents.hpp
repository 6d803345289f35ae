#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace Quarlen::Kel_cpp {

/// Archives with more entries are refused.
inline constexpr std::size_t maxZipEntries = 100'000;

/// Names of the entries of a ZIP archive, in its order. Reads the table of contents only. Throws
/// `KelApiException` (code Update) that names the file and the cause.
std::vector<std::wstring> zipEntryNames(const std::filesystem::path& file);

} // namespace Quarlen::Kel_cpp
