#pragma once

#include <cstddef>
#include <optional>

#include <httplib.h>

namespace Quarlen::Rest {

/// 1 MiB; larger bodies are refused.
constexpr std::size_t maxBodySize = std::size_t{1024} * 1024;

/// Makes a request's header say what the HTTP library reads from it: a body is a body whatever its
/// content type or encoding, a request without a length has no body, and options are compared
/// without their case. True when the connection ends with the reply.
bool settle(httplib::Request& request);

/// The status that refuses a request by its header alone, without waiting for its body.
[[nodiscard]] std::optional<httplib::StatusCode> refusalOf(const httplib::Request& request);

} // namespace Quarlen::Rest
