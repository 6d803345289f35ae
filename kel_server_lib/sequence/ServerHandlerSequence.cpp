#include "kel_server_lib/sequence/ServerHandlerSequence.hpp"

#include <utility>

#include "kel_server_lib/sequence/SequenceRun.hpp"
#include "kel_server_lib/sequence/actions/SequenceTrace.hpp"
#include "std_util/TraceHelper.hpp"

namespace Quarlen {

using StdUtil::TraceHelper::InfoTrace;

namespace {

bool hasActiveConnections(Kel_cpp::KelApi& api) {
    Kel_cpp::RecordList<Kel_cpp::ActiveConnection> connections;
    api.getActiveConnections(connections);
    return !connections.empty();
}

} // namespace

ServerHandlerSequence::ServerHandlerSequence(SequenceEnvironment environment)
    : RunState(std::move(environment)) {}

// NOLINTNEXTLINE(bugprone-exception-escape): on a button's thread that ends the program, as meant
ServerHandlerSequence::~ServerHandlerSequence() {
    stopScriptThreads();
}

// The runtime's other notifications are of no interest to a sequence.
void ServerHandlerSequence::onNotification0(std::uint64_t /*code*/,
                                            std::shared_ptr<Kel_cpp::Record> /*first*/,
                                            std::shared_ptr<Kel_cpp::Record> /*second*/) {}
void ServerHandlerSequence::onNotification1(std::shared_ptr<Kel_cpp::Record> /*first*/,
                                            std::shared_ptr<Kel_cpp::Record> /*second*/) {}
void ServerHandlerSequence::onNotification4(std::shared_ptr<Kel_cpp::Record> /*first*/,
                                            std::shared_ptr<Kel_cpp::Record> /*second*/) {}
void ServerHandlerSequence::onNotification5(std::shared_ptr<Kel_cpp::Record> /*first*/,
                                            std::shared_ptr<Kel_cpp::Record> /*second*/) {}

void ServerHandlerSequence::startSequence(std::wstring name, Api api,
                                          std::shared_ptr<Kel_cpp::ClientContext> /*context*/,
                                          bool& handled) {
    InfoTrace(sequenceTraceSource, __LINE__, L"-> startSequence");
    if (!handled && hasActiveConnections(*api)) {
        runSequence(name, std::move(api));
        handled = true;
    }
    InfoTrace(sequenceTraceSource, __LINE__, L"<- startSequence");
}

void ServerHandlerSequence::cancelSequence(Api api,
                                           std::shared_ptr<Kel_cpp::ClientContext> /*context*/,
                                           bool& handled) {
    InfoTrace(sequenceTraceSource, __LINE__, L"-> cancelSequence ");
    api->setServerStatus(L"Running cancel sequence");
    if (!handled && hasActiveConnections(*api)) {
        if (const bool alreadyStopping = raiseStop(); !alreadyStopping) {
            cancelRun(*api);
        }
        handled = true;
    }
    api->setServerStatus(L"Idle");
    InfoTrace(sequenceTraceSource, __LINE__, L"<- cancelSequence ");
}

void ServerHandlerSequence::cancelRun(Kel_cpp::KelApi& api) {
    stopScriptThreads();
    cancelCurrentJob(api);
    api.selectProject(L"");
    lowerStop();
}

void ServerHandlerSequence::abortSequence(Api api) {
    InfoTrace(sequenceTraceSource, __LINE__, L"-> abortSequence ");
    api->setServerStatus(L"Running abort sequence");
    if (hasActiveConnections(*api)) {
        cancelCurrentJob(*api);
        api->selectProject(L"");
    }
    api->setServerStatus(L"Idle");
    InfoTrace(sequenceTraceSource, __LINE__, L"<- abortSequence ");
}

void ServerHandlerSequence::cancelCurrentJob(Kel_cpp::KelApi& api) {
    if (const std::uint64_t job = currentJobId; job != 0) {
        api.cancelJobs({job});
        waitForReporters();
        currentJobId = 0;
    }
}

void ServerHandlerSequence::waitForReporters() {
    for (const std::atomic<bool>* done :
         {&serviceReporter.done, &quicktestReporter.done, &flashReporter.done}) {
        while (!*done) {
            environment.clock.sleepFor(pollInterval);
        }
    }
}

void ServerHandlerSequence::changeF1Sequence(const std::wstring& name, Api api) {
    const std::lock_guard lock(buttonMutex);
    InfoTrace(sequenceTraceSource, __LINE__, L"-> changeF1Sequence");
    const std::wstring f2Name = boundScript(f2);
    bool handled = false;
    cancelSequence(api, nullptr, handled);
    stopScriptThreads();
    if (name.empty()) {
        unbindScript(f1);
    }
    restartScriptThreads(name, f2Name, api);
}

void ServerHandlerSequence::changeF2Sequence(const std::wstring& name, Api api) {
    const std::lock_guard lock(buttonMutex);
    InfoTrace(sequenceTraceSource, __LINE__, L"-> changeF2Sequence");
    const std::wstring f1Name = boundScript(f1);
    bool handled = false;
    cancelSequence(api, nullptr, handled);
    stopScriptThreads();
    if (name.empty()) {
        unbindScript(f2);
    }
    restartScriptThreads(f1Name, name, api);
}

// The stop is still raised here and nothing lowers it: the new threads end at their first check of
// it, unless another caller lowers it before.
void ServerHandlerSequence::restartScriptThreads(const std::wstring& f1Name,
                                                 const std::wstring& f2Name, const Api& api) {
    if (!f1Name.empty()) {
        startF1ScriptThread(f1Name, api);
    }
    if (!f2Name.empty()) {
        startF2ScriptThread(f2Name, api);
    }
}

/// The count from which on stops concern a run. The end of an inner run restores the mark of the
/// outer run, so that the outer run still sees a stop that the inner one has lowered.
class ServerHandlerSequence::StopMark {
public:
    explicit StopMark(ServerHandlerSequence& handler)
        : handler(handler), ofOuterRun(handler.stopCountAtRunStart) {
        handler.stopCountAtRunStart = handler.stopCount.load();
        ++handler.runDepth;
    }
    StopMark(const StopMark&) = delete;
    StopMark& operator=(const StopMark&) = delete;
    ~StopMark() {
        if (--handler.runDepth > 0) {
            handler.stopCountAtRunStart = ofOuterRun;
        }
    }

private:
    ServerHandlerSequence& handler;
    std::uint64_t ofOuterRun;
};

void ServerHandlerSequence::runSequence(const std::wstring& name, Api api,
                                        const std::stop_token& giveUp) {
    if (!semaphore.lockOrGiveUp(giveUp)) {
        return;
    }
    const std::lock_guard runLock(semaphore, std::adopt_lock);
    const StopMark mark(*this);
    SequenceRun(*this, name, std::move(api)).run();
}

} // namespace Quarlen
