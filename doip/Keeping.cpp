#include <algorithm>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "doip/TesterConnection.hpp"

// What a tester sends by itself, and how it misses a vehicle that nobody asks anything.

namespace Quarlen::Doip {

namespace {

/// Not for a moment only.
bool isRefusedForGood(std::optional<std::uint8_t> refusal) {
    return refusal && *refusal != static_cast<std::uint8_t>(DiagnosticNackCode::OutOfMemory) &&
           *refusal != static_cast<std::uint8_t>(DiagnosticNackCode::TargetUnreachable);
}

} // namespace

/// The standard keeps an idle connection by alive check responses, which nobody has to ask for
/// (ISO 13400-2:2025, clause 9.6). Gateways that watch for TesterPresent get that, too, whatever
/// else goes through them.
void TesterConnection::keepAlive() {
    const auto keepAliveTime = options.times.keepAlive;
    idleTimer.expires_at(std::min(lastSent.load(), lastPresent) + keepAliveTime);
    idleTimer.async_wait([this, keepAliveTime](const boost::system::error_code& error) {
        if (error || !state.isOpen()) {
            return;
        }
        supervise();
        const auto now = std::chrono::steady_clock::now();
        // What waits already goes out right behind the message before it, and keeps it, too;
        // whoever watches for TesterPresent, only where that waits.
        const auto waiting = waitingTurn();
        if (now >= lastSent.load() + keepAliveTime) {
            lastSent = now;
            if (!waiting) {
                answer(PayloadType::AliveCheckResponse, encodeAddress(options.tester));
            }
        }
        if (now >= lastPresent + keepAliveTime) {
            lastPresent = now;
            if (!waiting || waiting != turnOfPresent) {
                keepGateway();
            }
        }
        keepAlive();
    });
}

/// A vehicle that vanishes without a word is found gone although nobody asks it anything.
void TesterConnection::supervise() {
    bool isNotRead = false;
    std::optional<std::uint16_t> silent;
    {
        const std::lock_guard lock(state.mutex);
        const auto now = clock.now();
        isNotRead = isStuck(now);
        // A message that goes out may take its time.
        if (!transport->isSending()) {
            if (std::exchange(isKeeperBehind, false) && keeper) {
                keeper->noteOut(now);
            }
            silent = silentTarget();
        }
    }
    if (isNotRead) {
        lose(L"the vehicle at " + connected()->peer() + L" does not read what it is sent");
    } else if (silent) {
        lose(silenceText(*silent));
    }
}

/// Nothing of a message that nobody waits for any more has gone out for as long as an
/// acknowledgement may take.
bool TesterConnection::isStuck(TimePoint now) {
    const auto taken = transport->takenBytes();
    if (!transport->isSendingAlone()) {
        progress.reset();
    } else if (!progress || progress->taken != taken) {
        progress = Progress{taken, now};
    }
    return progress && now >= progress->since + options.times.acknowledgement;
}

std::optional<std::uint64_t> TesterConnection::waitingTurn() const {
    const std::lock_guard lock(state.mutex);
    return transport->waitingTurn();
}

/// A vehicle that only drops what is for its own end of the connection is there all the same, and
/// gets no more of that.
std::optional<std::uint16_t> TesterConnection::silentTarget() {
    const auto longest = inboxes.longestUntaken();
    if (!longest || !isOverdue(longest->oldestUntaken())) {
        return {};
    }
    if (longest == keeper && lastArrival.load() > *longest->oldestUntaken()) {
        unkept.insert(keeper->address);
        keeper.reset();
        return {};
    }
    return longest->address;
}

void TesterConnection::keepGateway() {
    std::shared_ptr<Inbox> target;
    {
        const std::lock_guard lock(state.mutex);
        target = nextKeeper();
        if (!target) {
            return;
        }
        isKeeperBehind = transport->isSending();
        target->noteSent(Uds::quietTesterPresent(), clock.now());
    }
    turnOfPresent = answer(
        PayloadType::DiagnosticMessage,
        encode(DiagnosticMessage{options.tester, target->address, Uds::quietTesterPresent()}));
    if (!turnOfPresent) {
        const std::lock_guard lock(state.mutex);
        target->noteUnsent();
    }
}

/// The vehicle's end of the connection, or where that refuses what is for itself, because it is no
/// control unit, the control unit that was asked last. Null when both refuse.
std::shared_ptr<Inbox> TesterConnection::nextKeeper() {
    if (keeper && isRefusedForGood(keeper->takeRefusal())) {
        unkept.insert(keeper->address);
    }
    const auto address = !unkept.contains(entity) ? entity : lastAsked.value_or(entity);
    if (unkept.contains(address)) {
        return nullptr;
    }
    if (!keeper || keeper->address != address) {
        keeper = inboxes.openKeeper(address);
    }
    return keeper;
}

} // namespace Quarlen::Doip
