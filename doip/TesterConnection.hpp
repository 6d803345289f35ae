#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <stop_token>
#include <string>
#include <thread>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>

#include "doip/DoipSettings.hpp"
#include "doip/Inboxes.hpp"
#include "doip/MessageReader.hpp"
#include "doip/TcpTransport.hpp"
#include "uds/LinkState.hpp"
#include "uds/VehicleInterface.hpp"

namespace Quarlen::Doip {

/// One activated TCP connection of a tester: it gives what arrives to the inboxes, answers alive
/// checks and keeps an idle connection. Who sends writes himself, and who waits reads himself what
/// comes soon; a thread of its own runs the I/O context and reads the rest. Safe from any thread.
class TesterConnection {
public:
    /// `clock` must outlive the connection. It measures how long an acknowledgement takes.
    TesterConnection(DoipSettings settings, Platform::Clock& clock);
    TesterConnection(const TesterConnection&) = delete;
    TesterConnection& operator=(const TesterConnection&) = delete;
    ~TesterConnection();

    [[nodiscard]] Uds::LinkState& link() noexcept { return state; }
    [[nodiscard]] const DoipSettings& settings() const noexcept { return options; }

    /// Finds the vehicle, connects and has the routing activated. Only once. Throws
    /// `ConnectionLost`, `RoutingRefused`, `Cancelled`.
    void open(const std::stop_token& cancel);
    void close() noexcept;

    [[nodiscard]] std::shared_ptr<Inbox> openInbox(std::uint16_t address, Inbox::Answers answers);
    /// As `Uds::Endpoint` promises it.
    void send(Inbox& inbox, const Bytes& message, const Uds::Patience& patience);
    std::optional<Uds::Received> receive(Inbox& inbox, const Uds::Patience& patience);

private:
    friend class Opening;
    using TimePoint = Platform::Clock::TimePoint;

    void run();
    void beginReading(std::shared_ptr<TcpTransport> fresh);
    [[nodiscard]] std::shared_ptr<TcpTransport> connected() const;
    void readHere(const Inbox& inbox, const Uds::Patience& patience);
    [[nodiscard]] bool isMissed(const Inbox& inbox) const;
    void await(Inbox& inbox, const Uds::Patience& patience, std::unique_lock<std::mutex>& lock);
    /// What has come, at `latest` at that time.
    void takeSafely(std::span<const std::uint8_t> bytes, TimePoint latest);
    void take(std::span<const std::uint8_t> bytes);
    void take(const Message& message);
    void takeDiagnostic(const DiagnosticMessage& message);
    void takeAcknowledgement(const DiagnosticAck& ack);
    void takeRefusal(const DiagnosticAck& nack);
    std::shared_ptr<Inbox> askerOf(const DiagnosticAck& ack);
    void takeHeaderNack(std::uint8_t code, std::uint8_t theirVersion);
    bool refuseOldest(DiagnosticNackCode code);
    void takeActivation(const RoutingActivationResponse& response);
    void refuse(Inbox& asker, std::uint8_t code);
    std::optional<std::uint64_t> answer(PayloadType type, const Bytes& payload);
    void keepAlive();
    void supervise();
    [[nodiscard]] bool isStuck(TimePoint now);
    [[nodiscard]] std::optional<std::uint64_t> waitingTurn() const;
    [[nodiscard]] std::optional<std::uint16_t> silentTarget();
    void keepGateway();
    [[nodiscard]] std::shared_ptr<Inbox> nextKeeper();
    void fail(const std::wstring& cause);
    void lose(const std::wstring& cause);
    void loseSilent(std::uint16_t target);
    [[nodiscard]] std::wstring silenceText(std::uint16_t target) const;
    void wakeAll() noexcept;
    void note(const std::wstring& text);
    [[nodiscard]] bool isOverdue(const Inbox& inbox) const;
    [[nodiscard]] bool isOverdue(std::optional<TimePoint> untaken) const;
    void check(const Uds::Patience& patience) const;

    const DoipSettings options;
    Platform::Clock& clock;
    Uds::LinkState state;
    /// Guarded by the mutex of `state`.
    Inboxes inboxes;

    boost::asio::io_context context{1};
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work{
        context.get_executor()};
    boost::asio::steady_timer idleTimer{context};
    /// Guarded by the mutex of `state`.
    std::shared_ptr<TcpTransport> transport;
    /// When a message has gone to the vehicle, in real time.
    std::atomic<std::chrono::steady_clock::time_point> lastSent = std::chrono::steady_clock::now();
    /// When TesterPresent has gone to the gateway; only for the connection's own thread.
    std::chrono::steady_clock::time_point lastPresent = std::chrono::steady_clock::now();
    /// The turn in which it goes out.
    std::optional<std::uint64_t> turnOfPresent;
    std::stop_source closing;

    // For whoever reads, one thread at a time.
    MessageReader reader;
    TimePoint latestArrival = TimePoint::max();
    std::size_t notes = 0;
    /// Not changed any more once the connection is open: the version that both sides speak, and the
    /// logical address of the vehicle's end of the connection.
    std::uint8_t version = version2019;
    std::uint16_t entity = 0;
    /// Bytes of a message that goes out, and since when there have not been more of them; only for
    /// the connection's own thread.
    struct Progress {
        std::uint64_t taken = 0;
        TimePoint since;
    };
    std::optional<Progress> progress;
    std::atomic<TimePoint> lastArrival = TimePoint::min();
    // Guarded by the mutex of `state`: to whom messages go that only keep the connection, who has
    // refused them, who was asked last, and whether the vehicle's end of the connection
    // acknowledges what is for others.
    std::shared_ptr<Inbox> keeper;
    std::set<std::uint16_t> unkept;
    std::optional<std::uint16_t> lastAsked;
    bool entityTakesAll = false;
    /// What was sent to the keeper last has begun to wait for the end of another message.
    bool isKeeperBehind = false;
    /// While the connection is being opened: what has come of it.
    std::optional<RoutingActivationResponse> activation;
    std::optional<std::uint8_t> otherVersion;
    std::wstring failure;

    std::jthread thread;
};

} // namespace Quarlen::Doip
