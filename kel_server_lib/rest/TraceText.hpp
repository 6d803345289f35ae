#pragma once

#include <string>
#include <string_view>

namespace Quarlen::Rest {

/// Text of a client as a piece of one trace line, never cut: control characters show as "\n" or
/// "\x00" and do not end the line. When the text is not UTF-8, every byte beyond ASCII shows as
/// "\x80" and so on.
[[nodiscard]] std::wstring traceText(std::string_view utf8);

} // namespace Quarlen::Rest
