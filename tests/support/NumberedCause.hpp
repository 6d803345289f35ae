#pragma once

#include <algorithm>
#include <string_view>

#include <gmock/gmock.h>

namespace Quarlen::Tests {

/// Every text that ends with a cause that the system told: "Permission denied (13)", or "error 13"
/// where it has no words, as Wine for the errors of sockets.
MATCHER(EndsWithANumber, "ends with the number of the cause") {
    const auto isDigit = [](auto letter) { return letter >= '0' && letter <= '9'; };
    const auto isWordless = isDigit(arg.back());
    const auto first =
        std::find_if_not(arg.rbegin() + (isWordless ? 0 : 1), arg.rend(), isDigit).base();
    const auto before = std::basic_string<std::decay_t<decltype(arg.front())>>(arg.begin(), first);
    return isWordless ? before.ends_with(' ') : arg.back() == ')' && before.ends_with('(');
}

} // namespace Quarlen::Tests
