#include "kel_server_lib/actions/ExecuteAction.hpp"

#include "kel_server_lib/actions/ActionFrame.hpp"
#include "kel_server_lib/sequence/SequenceTrace.hpp"
#include "std_util/TraceHelper.hpp"

namespace Quarlen {

namespace {

void executeProcedure(ServerHandlerSequence& handler, Kel_cpp::KelApi& api,
                      const std::wstring& command) {
    const auto input = std::make_shared<Kel_cpp::ServiceInput>();
    input->serviceName = command;
    const Kel_cpp::RecordList<Kel_cpp::ServiceInput> inputs{input};
    StdUtil::TraceHelper::InfoTrace(sequenceTraceSource, __LINE__, L"kel_server::execute: %s",
                                    command.c_str());
    launchJob(handler, handler.serviceReporter,
              [&] { return api.executeService(L"#OTX", inputs, &handler.serviceReporter); });
    waitForJob(handler, handler.serviceReporter);
    handler.currentJobId = 0;
}

} // namespace

bool runExecuteAction(ServerHandlerSequence& handler, ServerHandlerSequence::Api api,
                      const std::wstring& command) {
    return runInActionFrame(handler, *api, L"runExecuteAction", [&] {
        api->setServerStatus(L"Running execute action: " + command);
        if (!handler.stopRaised() && !command.empty()) {
            executeProcedure(handler, *api, command);
        }
    });
}

} // namespace Quarlen
