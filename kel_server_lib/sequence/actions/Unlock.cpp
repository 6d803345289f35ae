#include "kel_server_lib/sequence/actions/Unlock.hpp"

#include "kel_server_lib/runtime/ExceptionLine.hpp"

namespace Quarlen {

void openUnlock(RunState& state, const RunState::Api& api, const std::wstring& unlockName,
                const std::wstring& unlockParameter, std::atomic<std::uint64_t>& currentJobHandle) {
    try {
        currentJobHandle = api->openUnlockSession(unlockName, {unlockParameter})->handle;
    } catch (const Kel_cpp::KelApiException& exception) {
        state.environment.console.line(exceptionLine(exception));
    }
}

} // namespace Quarlen
