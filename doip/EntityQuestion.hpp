#pragma once

#include <cstdint>

#include "doip/DoipSettings.hpp"
#include "doip/Payloads.hpp"

namespace Quarlen::Doip {

/// What an entity says of its sockets, and whether the vehicle is ready for diagnostics (the byte
/// of `PowerMode`). Blocks in real time up to `settings.times.control`. Throws
/// `Uds::ConnectionLost` when the host of the settings, an address in numbers, does not answer,
/// refuses the question, or answers with what is no message; answers from elsewhere do not count.
[[nodiscard]] EntityStatus entityStatus(const DoipSettings& settings);
[[nodiscard]] std::uint8_t powerMode(const DoipSettings& settings);

} // namespace Quarlen::Doip
