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

/// It is blocked until the handler returns.
void endBy(int signal) {
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    ::sigaction(signal, &standard, nullptr);
    ::raise(signal);
}

/// A terminal that goes away hangs up several times, and the service manager does so after a
/// SIGTERM: that neither is a second request nor makes the next one a second.
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
