#pragma once

#include <string>
#include <string_view>

namespace httplib {
struct Request;
} // namespace httplib

namespace Quarlen::Rest {

/// Equal but for the case of ASCII letters.
[[nodiscard]] bool isSameText(std::string_view left, std::string_view right);

/// Whether one of the header's comma-separated elements equals `element`, letter case ignored; the
/// header may occur several times.
[[nodiscard]] bool hasElement(const httplib::Request& request, const std::string& header,
                              std::string_view element);

} // namespace Quarlen::Rest
