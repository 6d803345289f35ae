#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Quarlen::Ctl {

/// What there is instead of a name that is not there: the nearest name, where one is near enough to
/// be a slip of the hand, else the first few of them; "nothing" of an empty list.
std::wstring alternativesTo(std::wstring_view wanted, const std::vector<std::wstring>& names);

} // namespace Quarlen::Ctl
