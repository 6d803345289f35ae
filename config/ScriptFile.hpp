#pragma once

#include <cstddef>
#include <filesystem>

#include "xml/Parser.hpp"

namespace Config {

/// Larger files are refused.
inline constexpr std::size_t maxFileSize = std::size_t{64} * 1024 * 1024;

/// Parses a file and reports its content to `receiver` on the calling thread; only a small part of
/// the file is in memory at one time. Throws `Xml::Fault` when the file is not regular, not
/// readable, too large or not well-formed XML.
void readXmlFile(const std::filesystem::path& file, Xml::Receiver& receiver);

} // namespace Config
