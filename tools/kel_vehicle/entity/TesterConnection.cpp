#include "tools/kel_vehicle/entity/TesterConnection.hpp"

#include <algorithm>
#include <exception>
#include <utility>
#include <vector>

#include <boost/asio/buffer.hpp>

#include "platform/SystemError.hpp"
#include "tools/kel_vehicle/entity/EntityLimits.hpp"

// The life of a connection and what it reads. What it sends is dealt with in TesterSending.cpp.

namespace Quarlen::KelVehicle {

namespace {

/// How long a tester may take to end its side of a connection that the entity has ended.
constexpr std::chrono::seconds farewellTime{1};

std::string nameOf(const TesterConnection::Socket& socket) {
    boost::system::error_code gone;
    const auto endpoint = socket.remote_endpoint(gone);
    return endpoint.address().to_string() + ":" + std::to_string(endpoint.port());
}

} // namespace

TesterConnection::TesterConnection(Socket accepted, ConnectionContext& context)
    : socket(std::move(accepted)),
      context(context),
      peerName(nameOf(socket)),
      version(Doip::version2019),
      inbox(context.budget),
      connectedAt(context.loop.clock().now()),
      lastActivity(connectedAt),
      lastDiagnostic(connectedAt) {
    ++context.sockets;
}

TesterConnection::~TesterConnection() {
    dropLater();
    dropNextByte();
    --context.sockets;
}

void TesterConnection::begin() {
    boost::system::error_code ignored;
    // An acknowledgement must not wait for the answer, nor the answer for the tester's next word.
    socket.set_option(boost::asio::ip::tcp::no_delay(true), ignored);
    socket.non_blocking(true, ignored);
    supervise();
    read();
}

void TesterConnection::read() {
    const bool mustNotRead = isPaused && !(pausedForGood && unheard < maxUnheard);
    if (isReading || mustNotRead || state == State::Ended) {
        return;
    }
    isReading = true;
    socket.async_read_some(boost::asio::buffer(buffer),
                           [self = shared_from_this()](const auto& error, std::size_t count) {
                               self->onRead(error, count);
                           });
}

void TesterConnection::onRead(const boost::system::error_code& error, std::size_t count) {
    isReading = false;
    if (error) {
        cut(error == boost::asio::error::eof
                ? L"the tester has closed the connection"
                : L"the connection was lost: " + Platform::errorText(error));
        return;
    }
    if (pausedForGood) {
        unheard += count;
    } else if (state == State::Open) {
        lastActivity = context.loop.clock().now();
        inbox.add(std::span(buffer).first(count));
    }
    // A failure that nobody expects (no memory, for instance) is the end of this tester, who would
    // not be heard any more.
    try {
        process();
    } catch (const std::exception& failure) {
        cut(Platform::exceptionText(failure));
    }
}

void TesterConnection::process() {
    while (state == State::Open && !isPaused) {
        auto item = inbox.next();
        if (!item) {
            break;
        }
        handle(std::move(*item));
    }
    read();
}

void TesterConnection::handle(Inbox::Item item) {
    if (auto* const fault = std::get_if<HeaderFault>(&item)) {
        version = fault->version;
        context.listener.onHeaderFault(*this, *fault);
        return;
    }
    auto& message = std::get<Doip::Message>(item);
    version = message.version;
    holdsBack = true;
    try {
        context.loop.runWithDue([&] { context.listener.onMessage(*this, std::move(message)); });
    } catch (...) {
        flush();
        throw;
    }
    flush();
}

void TesterConnection::resume() {
    isPaused = pausedForGood;
    process();
}

void TesterConnection::activate(std::uint16_t testerAddress) {
    address = testerAddress;
    lastDiagnostic = context.loop.clock().now();
    supervise();
}

void TesterConnection::noteDiagnosticMessage() {
    lastDiagnostic = context.loop.clock().now();
}

void TesterConnection::askAlive(std::function<void()> onOutcome) {
    if (state != State::Open) {
        onOutcome();
        return;
    }
    aliveChecks.push_back(std::move(onOutcome));
    send(Doip::PayloadType::AliveCheckRequest, {});
}

void TesterConnection::noteAlive(std::uint16_t who) {
    if (who == address && !aliveChecks.empty()) {
        const auto onOutcome = std::move(aliveChecks.front());
        aliveChecks.pop_front();
        onOutcome();
    }
}

void TesterConnection::finish(const std::wstring& cause) {
    if (state == State::Open) {
        end(State::Finishing, cause);
        watchAt(context.loop.clock().now() + farewellTime, &TesterConnection::endFarewell);
        shutDownIfSent();
    }
}

void TesterConnection::breakOff(Doip::PayloadType type, const Doip::Bytes& payload,
                                const std::wstring& cause) {
    flush();
    // Behind what waits to be sent, half a message would stand in the middle of another one. Then
    // that one is broken off.
    if (outbox.isEmpty()) {
        const Doip::Bytes whole = Doip::encode(type, payload, version);
        boost::system::error_code ignored;
        socket.send(boost::asio::buffer(whole.data(), whole.size() / 2), 0, ignored);
    }
    reset(cause);
}

void TesterConnection::reset(const std::wstring& cause) {
    flush();
    boost::system::error_code ignored;
    socket.set_option(boost::asio::socket_base::linger(true, 0), ignored);
    cut(cause);
}

void TesterConnection::cut(const std::wstring& cause) {
    const bool wasOpen = state == State::Open;
    if (state == State::Ended) {
        return;
    }
    state = State::Ended;
    context.loop.cancelWatch(watch);
    dropNextByte();
    outbox.clear();
    closeSocket();
    if (wasOpen) {
        end(State::Ended, cause);
    }
}

void TesterConnection::end(State next, const std::wstring& cause) {
    const auto self = shared_from_this();
    state = next;
    context.loop.cancelWatch(watch);
    isPaused = pausedForGood = false;
    dropLater();
    context.listener.onEnd(*this, cause);
    address.reset();
    const auto checks = std::exchange(aliveChecks, {});
    for (const auto& onOutcome : checks) {
        onOutcome();
    }
}

/// A socket that is closed while something of the tester's has not been read resets the connection,
/// and the tester may then lose what it was sent last. So the tester's end is waited for, and what
/// comes before is dropped.
void TesterConnection::shutDownIfSent() {
    if (state != State::Finishing || !outbox.isEmpty() || std::exchange(isShutDown, true)) {
        return;
    }
    boost::system::error_code ignored;
    socket.shutdown(Socket::shutdown_send, ignored);
    read();
}

void TesterConnection::closeSocket() {
    boost::system::error_code ignored;
    socket.close(ignored);
}

TesterConnection::TimeLimit TesterConnection::timeLimit() const {
    if (!address) {
        return {connectedAt + context.times.initialInactivity,
                L"no routing activation came in its time (T_TCP_Initial_Inactivity)"};
    }
    const auto general = lastActivity + context.times.generalInactivity;
    const auto present = lastDiagnostic + context.times.testerPresent;
    if (context.times.testerPresent.count() > 0 && present < general) {
        return {present, L"no diagnostic message came in its time"};
    }
    return {general, L"nothing was sent or received for too long (T_TCP_General_Inactivity)"};
}

void TesterConnection::supervise() {
    watchAt(timeLimit().end, &TesterConnection::lookAtTime);
}

/// One limit counts at a time.
void TesterConnection::watchAt(EventLoop::TimePoint time, void (TesterConnection::*look)()) {
    context.loop.cancelWatch(watch);
    watch = context.loop.watchAt(time, [weak = weak_from_this(), look] {
        if (const auto self = weak.lock()) {
            (self.get()->*look)();
        }
    });
}

void TesterConnection::lookAtTime() {
    const auto limit = timeLimit();
    if (limit.end <= context.loop.clock().now()) {
        finish(limit.cause);
    } else {
        supervise();
    }
}

void TesterConnection::endFarewell() {
    cut({});
}

} // namespace Quarlen::KelVehicle
