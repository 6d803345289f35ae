#include "kel_server_lib/sequence/actions/ActionFrame.hpp"

#include "kel_server_lib/runtime/ExceptionLine.hpp"
#include "kel_server_lib/sequence/actions/SequenceTrace.hpp"
#include "std_util/TraceHelper.hpp"

namespace Quarlen {

using StdUtil::TraceHelper::InfoTrace;

bool runInActionFrame(RunState& state, Kel_cpp::KelApi& api, const wchar_t* actionName,
                      const std::function<void()>& steps) {
    try {
        InfoTrace(sequenceTraceSource, __LINE__, L"-> %s", actionName);
        steps();
        InfoTrace(sequenceTraceSource, __LINE__, L"<- %s", actionName);
        api.setServerStatus(L"Idle");
        return true;
    } catch (const Kel_cpp::KelApiException& exception) {
        state.environment.console.line(exceptionLine(exception));
        state.currentJobId = 0;
        api.setServerStatus(exceptionStatus(exception));
        return false;
    }
}

} // namespace Quarlen
