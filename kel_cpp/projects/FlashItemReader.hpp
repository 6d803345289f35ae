#pragma once

#include "kel_cpp/projects/Project.hpp"
#include "xml/File.hpp"

namespace Quarlen::Kel_cpp {

/// An element "FlashItem" of a project file. Throws `Xml::FileError` with place and cause.
[[nodiscard]] FlashItem readFlashItem(const Xml::File& file, const pugi::xml_node& node);

} // namespace Quarlen::Kel_cpp
