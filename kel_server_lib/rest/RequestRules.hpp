#pragma once

#include <cstddef>
#include <optional>

#include <httplib.h>

namespace Quarlen::Rest {

/// 1 MiB; what is larger is refused.
constexpr std::size_t greatestBody = std::size_t{1024} * 1024;

/// Makes a request's header say what the HTTP library then takes from it. A body is a body,
/// whatever the client calls it, and one without a length is none; options are compared without
/// their case. True when the connection ends with the reply.
bool settle(httplib::Request& request);

/// The status that a request is answered by its header alone; its body is not waited for.
[[nodiscard]] std::optional<httplib::StatusCode> refusalOf(const httplib::Request& request);

} // namespace Quarlen::Rest
