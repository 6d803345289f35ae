#pragma once

#include <string>

#include "config/ScriptObjects.hpp"

namespace Quarlen::Ctl {

/// The element's name of an action in a script, UTF-8; "unknown action" for one that the server
/// does not know.
std::string actionName(const Config::ConfigObject& action);

/// What an action does, for people: sentences in UTF-8.
std::string actionWords(const Config::ConfigObject& action);

} // namespace Quarlen::Ctl
