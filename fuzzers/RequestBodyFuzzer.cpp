#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "kel_server_lib/rest/handlers/RequestBody.hpp"

namespace {

using namespace Quarlen::Rest;

/// How deep arrays and objects lie in each other; ends beyond the bound, whatever the value is.
std::size_t depthOf(const picojson::value& value, std::size_t bound) {
    if (bound == 0 || !(value.is<picojson::array>() || value.is<picojson::object>())) {
        return 0;
    }
    std::size_t deepest = 0;
    if (value.is<picojson::array>()) {
        for (const auto& item : value.get<picojson::array>()) {
            deepest = std::max(deepest, depthOf(item, bound - 1));
        }
    } else {
        for (const auto& [key, item] : value.get<picojson::object>()) {
            deepest = std::max(deepest, depthOf(item, bound - 1));
        }
    }
    return deepest + 1;
}

} // namespace

/// A body gives a value no deeper than the documented bound, or nothing, or the documented
/// exception for a number that is too large. A value's own text gives that value again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t maxDepth = 64;
    try {
        const auto value = parseBody({reinterpret_cast<const char*>(data), size});
        if (!value) {
            return 0;
        }
        (void)textOf(*value);
        if (depthOf(*value, maxDepth + 1) > maxDepth || parseBody(value->serialize()) != value) {
            std::abort();
        }
    } catch (const std::overflow_error&) {
        return 0;
    }
    return 0;
}
