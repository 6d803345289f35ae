#pragma once

#include <string>
#include <string_view>

/// Texts of a file in messages, which must stay readable.
namespace Xml {

/// At most 60 characters of a text in UTF-8; "..." stands for the rest.
[[nodiscard]] std::string shortened(std::string_view text);

/// The shortened text between double quotes, as all names in messages stand.
[[nodiscard]] std::wstring inQuotes(std::string_view text);

} // namespace Xml
