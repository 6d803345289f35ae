#pragma once

#include <string>
#include <string_view>

namespace Quarlen::Rest {

/// UTF-8 of a client as a piece of one line of a trace, whole: control characters show as "\n" or
/// "\x00" and do not end it. Of what is no UTF-8 every byte beyond ASCII shows like that.
[[nodiscard]] std::wstring traceText(std::string_view utf8);

} // namespace Quarlen::Rest
