#pragma once

#include <cstddef>
#include <filesystem>

#include "xml/Parser.hpp"

namespace Config {

/// Larger files are refused.
inline constexpr std::size_t maximumFileSize = std::size_t{64} * 1024 * 1024;

/// Tells `receiver` what is in a file, of which only a small part is in memory at one time. Throws
/// `Xml::Fault` for what is no regular file, cannot be read, is too large or no well-formed XML.
void readXmlFile(const std::filesystem::path& file, Xml::Receiver& receiver);

} // namespace Config
