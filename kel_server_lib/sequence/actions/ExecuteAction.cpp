#include "kel_server_lib/sequence/actions/ExecuteAction.hpp"

#include "kel_server_lib/sequence/actions/ActionFrame.hpp"
#include "kel_server_lib/sequence/actions/SequenceTrace.hpp"
#include "std_util/TraceHelper.hpp"

namespace Quarlen {

namespace {

void executeProcedure(RunState& state, Kel_cpp::KelApi& api, const std::wstring& command) {
    const auto input = std::make_shared<Kel_cpp::ServiceInput>();
    input->serviceName = command;
    const Kel_cpp::RecordList<Kel_cpp::ServiceInput> inputs{input};
    StdUtil::TraceHelper::InfoTrace(sequenceTraceSource, __LINE__, L"kel_server::execute: %s",
                                    command.c_str());
    launchJob(state, state.serviceReporter,
              [&] { return api.executeService(L"#OTX", inputs, &state.serviceReporter); });
    waitForJob(state, state.serviceReporter);
    state.currentJobId = 0;
}

} // namespace

bool runExecuteAction(RunState& state, RunState::Api api, const std::wstring& command) {
    return runInActionFrame(state, *api, L"runExecuteAction", [&] {
        api->setServerStatus(L"Running execute action: " + command);
        if (!state.stopRaised() && !command.empty()) {
            executeProcedure(state, *api, command);
        }
    });
}

} // namespace Quarlen
