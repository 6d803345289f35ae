#pragma once

#include <map>
#include <string>

namespace Quarlen::Rest {

/// Values of a route's parameter segments by name ("BUTTON"). A segment that was no valid UTF-8
/// gives the empty text.
using PathParameters = std::map<std::wstring, std::wstring>;

} // namespace Quarlen::Rest
