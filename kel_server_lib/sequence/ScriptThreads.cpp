#include <memory>
#include <system_error>
#include <thread>
#include <utility>

#include "kel_server_lib/sequence/ButtonWorker.hpp"
#include "kel_server_lib/sequence/ServerHandlerSequence.hpp"
#include "kel_server_lib/sequence/actions/SequenceTrace.hpp"
#include "std_util/TraceHelper.hpp"

// The two button slots of the handler: their scripts, their threads and who may run.

namespace Quarlen {

using StdUtil::TraceHelper::InfoTrace;

namespace {

constexpr int f1Button = 1;
constexpr int f2Button = 2;

void traceWaitForThread(const wchar_t* buttonName) {
    InfoTrace(sequenceTraceSource, __LINE__, L"-> wait to stop %s thread", buttonName);
}

/// A thread that waits for its own end waits forever.
void refuseOnThreadOf(const ButtonSlot& slot, const wchar_t* buttonName) {
    if (slot.worker.load() == std::this_thread::get_id()) {
        traceWaitForThread(buttonName);
        throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur));
    }
}

} // namespace

std::wstring ServerHandlerSequence::boundScript(const ButtonSlot& slot) {
    const auto lock = lockSlots();
    return slot.scriptName;
}

void ServerHandlerSequence::unbindScript(ButtonSlot& slot) {
    const auto lock = lockSlots();
    // A thread that another caller has started meanwhile keeps the script it was started with.
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
    slot.endRequest = std::stop_source();
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
    // Both threads are told first: the end of one thread's run must not let the other begin its
    // own.
    f1.endRequest.request_stop();
    f2.endRequest.request_stop();
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

// The stop is raised again and again: a caller that lowers it meanwhile must not let the thread
// carry out a script that the thread is just about to begin.
void ServerHandlerSequence::joinScriptThread(ButtonSlot& slot) {
    slot.endRequest.request_stop();
    while (!slot.ended) {
        raiseStop();
        environment.clock.sleepFor(pollInterval);
    }
    if (slot.thread->joinable()) {
        slot.thread->join();
    }
}

bool ServerHandlerSequence::makeBusy(ButtonSlot& own) {
    const std::lock_guard lock(busyMutex);
    if (f1.busy || f2.busy) {
        return false;
    }
    own.busy = true;
    return true;
}

} // namespace Quarlen
