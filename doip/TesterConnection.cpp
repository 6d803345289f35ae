#include "doip/TesterConnection.hpp"

#include <algorithm>
#include <exception>
#include <utility>

#include "doip/Opening.hpp"
#include "platform/SystemError.hpp"
#include "uds/LinkError.hpp"

// The life of a connection, and what its users send and receive. What arrives is dealt with in
// Arrivals.cpp.

namespace Quarlen::Doip {

namespace {

/// Bytes of one payload that a vehicle may send: what it announces is kept until it is whole.
constexpr std::size_t maxReceivedPayload = std::size_t{1024} * 1024;

Bytes headOf(std::uint8_t version, std::uint16_t source, std::uint16_t target, std::size_t size) {
    const HeaderBytes header =
        encode(Header{version, static_cast<std::uint16_t>(PayloadType::DiagnosticMessage),
                      static_cast<std::uint32_t>(addressesSize + size)});
    Bytes head(header.begin(), header.end());
    Uds::appendNumber(head, source, 2);
    Uds::appendNumber(head, target, 2);
    return head;
}

} // namespace

TesterConnection::TesterConnection(DoipSettings settings, Platform::Clock& clock)
    : options(std::move(settings)), clock(clock), reader(maxReceivedPayload) {}

TesterConnection::~TesterConnection() {
    close();
    context.stop();
}

void TesterConnection::open(const std::stop_token& cancel) {
    Opening(*this, cancel).run();
    state.open();
    thread = std::jthread([this] { run(); });
}

void TesterConnection::close() noexcept {
    state.close();
    closing.request_stop();
    wakeAll();
}

/// A failure that nobody expects (no memory, for instance) ends the connection, not the program.
void TesterConnection::run() {
    keepAlive();
    for (;;) {
        try {
            context.run();
            return;
        } catch (const std::exception& error) {
            lose(Platform::exceptionText(error));
        }
    }
}

std::shared_ptr<TcpTransport> TesterConnection::connected() const {
    const std::lock_guard lock(state.mutex);
    return transport;
}

void TesterConnection::wakeAll() noexcept {
    {
        const std::lock_guard lock(state.mutex);
        inboxes.wakeAll();
    }
    if (const auto ended = connected()) {
        ended->shutDown();
    }
}

void TesterConnection::lose(const std::wstring& cause) {
    state.lose(cause);
    wakeAll();
}

std::shared_ptr<Inbox> TesterConnection::openInbox(std::uint16_t address, Inbox::Answers answers) {
    const std::lock_guard lock(state.mutex);
    return inboxes.open(address, answers);
}

void TesterConnection::check(const Uds::Patience& patience) const {
    state.check();
    if (patience.cancel.stop_requested()) {
        throw Uds::Cancelled();
    }
}

void TesterConnection::send(Inbox& inbox, const Bytes& message, const Uds::Patience& patience) {
    check(patience);
    // Whoever hears of the loss finds the connection open, but nothing gets through it any more.
    if (state.isBeingLost()) {
        return;
    }
    if (isOverdue(inbox)) {
        loseSilent(inbox.address);
        return;
    }
    lastSent = std::chrono::steady_clock::now();
    const Bytes head = headOf(version, options.tester, inbox.address, message.size());
    const auto onTurn = [&] {
        const std::lock_guard lock(state.mutex);
        inbox.noteSent(message, clock.now());
    };
    const auto onOut = [&] {
        const std::lock_guard lock(state.mutex);
        inbox.noteOut(clock.now());
        if (inbox.isOfOne()) {
            lastAsked = inbox.address;
        }
    };
    if (!connected()->write(head, message, patience, {onTurn, onOut})) {
        loseSilent(inbox.address);
    }
}

std::optional<Uds::Received> TesterConnection::receive(Inbox& inbox,
                                                       const Uds::Patience& patience) {
    const bool waits = clock.now() < patience.deadline;
    if (waits || inbox.looksOnceAt(patience.deadline)) {
        readHere(inbox, patience);
    }
    {
        std::unique_lock lock(state.mutex);
        await(inbox, patience, lock);
        if (const auto code = inbox.takeRefusal()) {
            throw Uds::MessageRefused(*code, L"the vehicle has not passed the message to " +
                                                 addressText(inbox.address) + L" on: " +
                                                 diagnosticNackText(*code));
        }
        // What came before the connection was lost has come.
        const bool counts =
            state.get() != Uds::LinkState::State::Closed && !patience.cancel.stop_requested();
        if (auto received = counts ? inbox.take(patience.deadline) : std::nullopt) {
            return received;
        }
        if (waits) {
            inbox.forgetQuestion();
        }
    }
    check(patience);
    if (isOverdue(inbox)) {
        loseSilent(inbox.address);
    }
    return {};
}

/// In real time, also where the clock is another one: it only shortens the way of what comes soon.
void TesterConnection::readHere(const Inbox& inbox, const Uds::Patience& patience) {
    using std::chrono::steady_clock;
    constexpr std::chrono::milliseconds soon{5};
    const auto end =
        steady_clock::now() + std::min<TimePoint::duration>(soon, patience.deadline - clock.now());
    const auto takeInTime = [&](std::span<const std::uint8_t> bytes) {
        takeSafely(bytes, patience.deadline);
    };
    auto left = std::max(end - steady_clock::now(), steady_clock::duration::zero());
    // Also where no time is left: what has come has come.
    do {
        if (!isMissed(inbox) || patience.cancel.stop_requested() ||
            !connected()->readHere(std::chrono::ceil<std::chrono::milliseconds>(left),
                                   takeInTime)) {
            return;
        }
        left = end - steady_clock::now();
    } while (left > steady_clock::duration::zero());
}

bool TesterConnection::isMissed(const Inbox& inbox) const {
    const std::lock_guard lock(state.mutex);
    return state.isOpen() && !inbox.hasSomething();
}

/// Until something has come, a message has waited too long for its acknowledgement, or the
/// deadline: an acknowledgement that comes meanwhile gives the answer all of its time.
void TesterConnection::await(Inbox& inbox, const Uds::Patience& patience,
                             std::unique_lock<std::mutex>& lock) {
    const auto isDone = [&] {
        return inbox.hasSomething() || !state.isOpen() || patience.cancel.stop_requested();
    };
    const auto end = [&] {
        const auto untaken = inbox.oldestUntaken();
        return untaken ? std::min(patience.deadline, *untaken + options.times.acknowledgement)
                       : patience.deadline;
    };
    while (!isDone() && clock.now() < end()) {
        inboxes.await(inbox);
        transport->beAwaited();
        clock.waitUntil({lock, inbox.changed, patience.cancel, end()}, isDone);
        inboxes.endWait(inbox);
    }
}

bool TesterConnection::isOverdue(const Inbox& inbox) const {
    const std::lock_guard lock(state.mutex);
    return isOverdue(inbox.oldestUntaken());
}

bool TesterConnection::isOverdue(std::optional<TimePoint> untaken) const {
    return untaken && clock.now() >= *untaken + options.times.acknowledgement;
}

std::wstring TesterConnection::silenceText(std::uint16_t target) const {
    return L"the vehicle at " + connected()->peer() +
           L" takes no messages any more: nothing acknowledges the one to " + addressText(target);
}

/// Returns while another thread tells of the loss.
void TesterConnection::loseSilent(std::uint16_t target) {
    lose(silenceText(target));
    if (!state.isBeingLost()) {
        state.check();
    }
}

} // namespace Quarlen::Doip
