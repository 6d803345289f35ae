#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "kel_cpp/settings/RuntimeSettings.hpp"
#include "kel_cpp/settings/XmlReading.hpp"

/// What KelServer.xml means.
namespace Quarlen::Kel_cpp::SettingsReader {

inline constexpr std::string_view rootElement = "KelServer";

/// The settings of a configuration folder without a KelServer.xml. `folder` is absolute.
RuntimeSettings defaults(const std::filesystem::path& folder);

/// Throws `KelApiException` (code Configuration).
RuntimeSettings read(const XmlFile& file, const std::filesystem::path& folder);

/// Absolute and without detours; the empty text stays the empty path.
std::filesystem::path resolve(const std::filesystem::path& folder, const std::wstring& text);

} // namespace Quarlen::Kel_cpp::SettingsReader
