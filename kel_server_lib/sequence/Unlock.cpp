#include "kel_server_lib/sequence/Unlock.hpp"

#include "kel_server_lib/ExceptionLine.hpp"

namespace Quarlen {

void openUnlock(ServerHandlerSequence& handler, const ServerHandlerSequence::Api& api,
                const std::wstring& unlockName, const std::wstring& unlockParameter,
                std::atomic<std::uint64_t>& currentJobHandle) {
    try {
        currentJobHandle = api->openUnlockSession(unlockName, {unlockParameter})->handle;
    } catch (const Kel_cpp::KelApiException& exception) {
        handler.environment.console.line(exceptionLine(exception));
    }
}

} // namespace Quarlen
