#pragma once

#include <pugixml.hpp>

#include "config/ConfigObject.hpp"

namespace Config {

/// The objects of a file by its root element: a `CfxKelServerScript`, or a `CfxUnknown` when the
/// root element has another name. Elements inside an action and attributes that the library does
/// not know are passed over. Throws `FileError` for a value that cannot be meant as it stands.
Ref<ConfigObject> readRoot(const pugi::xml_node& root);

} // namespace Config
