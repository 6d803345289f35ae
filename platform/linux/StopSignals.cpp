#include "platform/StopSignals.hpp"

#include <csignal>
#include <initializer_list>
#include <utility>

namespace Quarlen::Platform {
namespace {

static_assert(std::atomic<bool>::is_always_lock_free &&
                  std::atomic<std::atomic<bool>*>::is_always_lock_free,
              "used in a signal handler");

constinit std::atomic<std::atomic<bool>*> flag{nullptr};
constinit std::atomic<bool> stopAsked{false};
/// Never released: signals come as long as the process lives.
const std::shared_ptr<std::atomic<bool>>* owner = nullptr;

/// `raise` takes effect when the handler returns; until then the signal is blocked.
void endBy(int signal) {
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    ::sigaction(signal, &standard, nullptr);
    ::raise(signal);
}

/// SIGHUP neither counts as a second request nor makes the next signal a second one: a terminal
/// that goes away sends it several times, and the service manager sends it after a SIGTERM.
void onStopSignal(int signal) {
    if (signal != SIGHUP && stopAsked.exchange(true)) {
        endBy(signal);
    } else {
        flag.load()->exchange(true);
    }
}

} // namespace

void raiseOnStopSignals(std::shared_ptr<std::atomic<bool>> stopRequested) {
    owner = new std::shared_ptr(std::move(stopRequested));
    flag = owner->get();
    struct sigaction action {};
    action.sa_handler = onStopSignal;
    action.sa_flags = SA_RESTART;
    ::sigemptyset(&action.sa_mask);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction former {};
        ::sigaction(signal, nullptr, &former);
        if (former.sa_handler != SIG_IGN) {
            ::sigaction(signal, &action, nullptr);
        }
    }
}

} // namespace Quarlen::Platform
