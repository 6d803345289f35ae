#include "kel_server_lib/ServerHandlerSequence.hpp"

#include <chrono>
#include <system_error>
#include <utility>

#include "kel_server_lib/devices/ButtonWorker.hpp"
#include "kel_server_lib/sequence/SequenceRun.hpp"
#include "kel_server_lib/sequence/SequenceTrace.hpp"
#include "std_util/TraceHelper.hpp"

namespace Quarlen {

using StdUtil::TraceHelper::InfoTrace;

namespace {

constexpr std::chrono::milliseconds pollInterval{10};
constexpr int f1Button = 1;
constexpr int f2Button = 2;

bool hasActiveConnections(Kel_cpp::KelApi& api) {
    Kel_cpp::RecordList<Kel_cpp::ActiveConnection> connections;
    api.getActiveConnections(connections);
    return !connections.empty();
}

void traceWaitForThread(const wchar_t* buttonName) {
    InfoTrace(sequenceTraceSource, __LINE__, L"-> wait to stop %s thread", buttonName);
}

/// A thread that waited for its own end would wait for ever.
void refuseOnThreadOf(const ButtonSlot& slot, const wchar_t* buttonName) {
    if (slot.worker.load() == std::this_thread::get_id()) {
        traceWaitForThread(buttonName);
        throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur));
    }
}

} // namespace

ServerHandlerSequence::ServerHandlerSequence(SequenceEnvironment environment)
    : environment(std::move(environment)) {}

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

// The stop is still raised here and nothing lowers it: the threads end at their first look at it
// and are of use again only to whoever lowers it before that.
void ServerHandlerSequence::restartScriptThreads(const std::wstring& f1Name,
                                                 const std::wstring& f2Name, const Api& api) {
    if (!f1Name.empty()) {
        startF1ScriptThread(f1Name, api);
    }
    if (!f2Name.empty()) {
        startF2ScriptThread(f2Name, api);
    }
}

std::wstring ServerHandlerSequence::boundScript(const ButtonSlot& slot) {
    const auto lock = lockSlots();
    return slot.scriptName;
}

void ServerHandlerSequence::unbindScript(ButtonSlot& slot) {
    const auto lock = lockSlots();
    // A thread that somebody started meanwhile keeps the script it was started with.
    if (!slot.thread) {
        slot.scriptName.clear();
    }
}

std::unique_lock<std::mutex> ServerHandlerSequence::lockSlots() {
    refuseOnThreadOf(f1, L"F1");
    refuseOnThreadOf(f2, L"F2");
    return std::unique_lock(slotMutex);
}

void ServerHandlerSequence::startF1ScriptThread(const std::wstring& name, Api api) {
    InfoTrace(sequenceTraceSource, __LINE__, L"-> start F1 script thread");
    startScriptThread(f1, f1Button, name, std::move(api));
}

void ServerHandlerSequence::startF2ScriptThread(const std::wstring& name, Api api) {
    InfoTrace(sequenceTraceSource, __LINE__, L"-> start F2 script thread");
    startScriptThread(f2, f2Button, name, std::move(api));
}

void ServerHandlerSequence::startScriptThread(ButtonSlot& slot, int button,
                                              const std::wstring& name, Api api) {
    const auto lock = lockSlots();
    if (slot.thread) {
        joinScriptThread(slot);
        clearSlot(slot);
    }
    slot.scriptName = name;
    slot.api = std::move(api);
    slot.ended = false;
    slot.thread = std::make_unique<std::thread>([this, &slot, button] {
        slot.worker = std::this_thread::get_id();
        buttonWorker(*this, button);
        slot.worker = std::thread::id();
        slot.ended = true;
    });
}

void ServerHandlerSequence::stopScriptThreads() {
    raiseStop();
    const auto lock = lockSlots();
    stopScriptThread(f1, L"F1");
    stopScriptThread(f2, L"F2");
    raiseStop();
}

void ServerHandlerSequence::stopScriptThread(ButtonSlot& slot, const wchar_t* buttonName) {
    if (!slot.thread) {
        return;
    }
    traceWaitForThread(buttonName);
    joinScriptThread(slot);
    InfoTrace(sequenceTraceSource, __LINE__, L"-> start stop %s thread", buttonName);
    clearSlot(slot);
}

void ServerHandlerSequence::clearSlot(ButtonSlot& slot) {
    slot.thread.reset();
    slot.api.reset();
    slot.samples.clear();
}

// A sequence run that the thread ends with lowers the stop, so that the thread would go on
// watching its sensor if the stop were raised only once.
void ServerHandlerSequence::joinScriptThread(ButtonSlot& slot) {
    while (!slot.ended) {
        raiseStop();
        environment.clock.sleepFor(pollInterval);
    }
    if (slot.thread->joinable()) {
        slot.thread->join();
    }
}

void ServerHandlerSequence::runSequence(const std::wstring& name, Api api) {
    const std::lock_guard runLock(semaphore);
    stopCountAtRunStart = stopCount.load();
    SequenceRun(*this, name, std::move(api)).run();
}

bool ServerHandlerSequence::raiseStop() {
    const bool wasRaised = stopRequested.exchange(true);
    ++stopCount;
    return wasRaised;
}

void ServerHandlerSequence::lowerStop() {
    stopRequested = false;
}

bool ServerHandlerSequence::stopRaised() const {
    return stopRequested || stopCount != stopCountAtRunStart;
}

} // namespace Quarlen
