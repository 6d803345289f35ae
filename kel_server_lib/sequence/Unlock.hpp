#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "kel_server_lib/ServerHandlerSequence.hpp"

namespace Quarlen {

/// Opens an unlock session and stores its handle. When the runtime fails the console tells it and
/// the handle stays as it was.
void openUnlock(ServerHandlerSequence& handler, const ServerHandlerSequence::Api& api,
                const std::wstring& unlockName, const std::wstring& unlockParameter,
                std::atomic<std::uint64_t>& currentJobHandle);

} // namespace Quarlen
