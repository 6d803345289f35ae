#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "kel_server_lib/sequence/actions/RunState.hpp"

namespace Quarlen {

/// Opens an unlock session and stores its handle. When the runtime fails, the failure is written to
/// the console and the handle stays as it was.
void openUnlock(RunState& state, const RunState::Api& api, const std::wstring& unlockName,
                const std::wstring& unlockParameter, std::atomic<std::uint64_t>& currentJobHandle);

} // namespace Quarlen
