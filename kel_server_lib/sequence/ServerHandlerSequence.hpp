#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>

#include "kel_server_lib/runtime/ServerHandler.hpp"
#include "kel_server_lib/sequence/actions/RunState.hpp"

namespace Quarlen {

/// One button: the script bound to it and the thread that watches its sensor. While the thread
/// runs, `samples` is the thread's own and the other fields except `busy` do not change.
struct ButtonSlot {
    std::unique_ptr<std::thread> thread;
    /// Empty when no script is bound.
    std::wstring scriptName;
    std::shared_ptr<Kel_cpp::KelApi> api;
    std::deque<std::int32_t> samples;
    std::atomic<bool> busy{false};
    /// Tells the thread for good to end, even if the stop flag is lowered meanwhile.
    std::stop_source endRequest;
    /// Set by the thread as its last act.
    std::atomic<bool> ended{true};
    /// The thread's identity, from its first act to its last but one.
    std::atomic<std::thread::id> worker;
};

/// The runtime's callback object and the one engine that runs sequences. A sequence is a script of
/// actions: `SequenceRun` loads it, `walkActions` carries its actions out through the facade, and
/// `RunState` holds what the actions share with the callers that stop them. The handler owns the
/// two button slots and their threads, and the run lock that lets one sequence run at a time; the
/// application and the runtime share the handler.
///
/// Called by the runtime's threads (start and cancel), request threads (abort and change), the
/// two button threads (`runSequence`) and the main thread. Abort and cancel take no lock that a
/// run holds, so that they can act while a sequence runs. Exceptions of the facade pass to the
/// caller.
class ServerHandlerSequence : public Kel_cpp::ServerHandler, public RunState {
public:
    explicit ServerHandlerSequence(SequenceEnvironment environment = {});
    ServerHandlerSequence(const ServerHandlerSequence&) = delete;
    ServerHandlerSequence& operator=(const ServerHandlerSequence&) = delete;
    /// Stops the button threads and waits for a sequence that one of them runs. Destroying the
    /// handler on one of these threads ends the program.
    // NOLINTNEXTLINE(bugprone-exception-escape): on a button's thread that ends the program
    ~ServerHandlerSequence() override;

    void onNotification0(std::uint64_t code, std::shared_ptr<Kel_cpp::Record> first,
                         std::shared_ptr<Kel_cpp::Record> second) override;
    void onNotification1(std::shared_ptr<Kel_cpp::Record> first,
                         std::shared_ptr<Kel_cpp::Record> second) override;
    void startSequence(std::wstring name, Api api, std::shared_ptr<Kel_cpp::ClientContext> context,
                       bool& handled) override;
    void cancelSequence(Api api, std::shared_ptr<Kel_cpp::ClientContext> context,
                        bool& handled) override;
    void onNotification4(std::shared_ptr<Kel_cpp::Record> first,
                         std::shared_ptr<Kel_cpp::Record> second) override;
    void onNotification5(std::shared_ptr<Kel_cpp::Record> first,
                         std::shared_ptr<Kel_cpp::Record> second) override;

    /// Cancels the running job and closes the project, but neither stops the sequence nor touches
    /// the button threads.
    void abortSequence(Api api);
    void changeF1Sequence(const std::wstring& name, Api api);
    void changeF2Sequence(const std::wstring& name, Api api);
    void startF1ScriptThread(const std::wstring& name, Api api);
    void startF2ScriptThread(const std::wstring& name, Api api);
    /// Returns when both threads have ended; the stop stays raised. Throws `std::system_error`
    /// (`resource_deadlock_would_occur`) when called on one of them.
    void stopScriptThreads();
    /// Runs a script to its end on the caller's thread, one run at a time: a second caller waits,
    /// and runs nothing when `giveUp` is requested during that wait. A run may begin another run on
    /// its own thread.
    void runSequence(const std::wstring& name, Api api, const std::stop_token& giveUp = {});
    /// Makes a button busy unless one of the two is busy already, in one atomic step. Returns
    /// whether it did.
    bool makeBusy(ButtonSlot& own);

    /// Held by the two change operations.
    std::mutex buttonMutex;
    ButtonSlot f1;
    ButtonSlot f2;

private:
    /// The time between two checks whether a job or a thread has ended.
    static constexpr std::chrono::milliseconds pollInterval{10};

    void cancelRun(Kel_cpp::KelApi& api);
    void cancelCurrentJob(Kel_cpp::KelApi& api);
    void waitForReporters();
    void restartScriptThreads(const std::wstring& f1Name, const std::wstring& f2Name,
                              const Api& api);
    [[nodiscard]] std::wstring boundScript(const ButtonSlot& slot);
    void unbindScript(ButtonSlot& slot);
    void startScriptThread(ButtonSlot& slot, int button, const std::wstring& name, Api api);
    void stopScriptThread(ButtonSlot& slot, const wchar_t* buttonName);
    void joinScriptThread(ButtonSlot& slot);
    static void clearSlot(ButtonSlot& slot);
    class StopMark;
    /// Throws on a button thread: the holder of the lock may be waiting for that thread's end.
    [[nodiscard]] std::unique_lock<std::mutex> lockSlots();

    /// Guards the slots' threads and bindings. Never held by a button thread.
    std::mutex slotMutex;
    /// Held while a button checks both `busy` flags and sets its own.
    std::mutex busyMutex;
    /// Number of runs that have begun and not ended, each within the one before. Guarded by the run
    /// lock.
    std::uint32_t runDepth = 0;
};

} // namespace Quarlen
