#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

#include "kel_cpp/settings/RuntimeSettings.hpp"
#include "xml/File.hpp"

/// Converts KelServer.xml into a `RuntimeSettings` value: missing elements get defaults, relative
/// paths become absolute paths below the configuration folder. `SettingsFile` calls these functions
/// with a parsed file that it owns. They keep nothing between two calls and may be called from any
/// thread.
namespace Quarlen::Kel_cpp::SettingsReader {

inline constexpr std::string_view rootElement = "KelServer";

/// A tree takes some twenty times the memory of its text; people write some kilobytes.
inline constexpr std::size_t maxFileSize = std::size_t{16} * 1024 * 1024;
inline constexpr Xml::Limits limits = Xml::limitsOfTree(maxFileSize);

/// The settings of a configuration folder without a KelServer.xml. `folder` is absolute.
RuntimeSettings defaults(const std::filesystem::path& folder);

/// Throws `Xml::FileError`: "file:line:column: message" with what was expected.
RuntimeSettings read(const Xml::File& file, const std::filesystem::path& folder);

/// Makes a path absolute and normalized; an empty text gives an empty path.
std::filesystem::path resolve(const std::filesystem::path& folder, const std::wstring& text);

} // namespace Quarlen::Kel_cpp::SettingsReader
