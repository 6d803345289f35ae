#pragma once

#include "uds/Uds.hpp"

namespace Quarlen::Uds {

/// True for a response to exactly this request: a refusal of its service, or a positive response of
/// its service that repeats what the service has to repeat (sub-function, data identifier, routine,
/// block counter; ISO 14229-1:2020, the response of each service). A response that is too short to
/// repeat it does not match. `request` must not be empty.
[[nodiscard]] bool matches(const Bytes& request, const Bytes& response) noexcept;

/// True for a positive response of the request's service, whatever it repeats.
[[nodiscard]] bool isOfService(const Bytes& request, const Bytes& response) noexcept;

} // namespace Quarlen::Uds
