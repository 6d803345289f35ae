#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include <boost/asio/ip/tcp.hpp>

#include "doip/Message.hpp"
#include "tools/kel_vehicle/entity/EntityOptions.hpp"
#include "tools/kel_vehicle/entity/EventLoop.hpp"
#include "tools/kel_vehicle/entity/Inbox.hpp"
#include "tools/kel_vehicle/entity/Outbox.hpp"

namespace Quarlen::KelVehicle {

class TesterConnection;

/// Who hears of what the connections of an entity do.
class ConnectionListener {
public:
    ConnectionListener() = default;
    ConnectionListener(const ConnectionListener&) = delete;
    ConnectionListener& operator=(const ConnectionListener&) = delete;
    virtual ~ConnectionListener() = default;

    virtual void onMessage(TesterConnection& from, Doip::Message message) = 0;
    virtual void onHeaderFault(TesterConnection& from, const HeaderFault& fault) = 0;
    /// Once, when the connection serves its tester no more.
    virtual void onEnd(TesterConnection& connection, const std::wstring& cause) = 0;
};

/// What all connections of an entity use.
struct ConnectionContext {
    EventLoop& loop;
    const EntityTimes& times;
    InboxBudget& budget;
    ConnectionListener& listener;
    /// Connections that hold a socket, those that have ended and wait for their tester included.
    std::size_t sockets = 0;
};

/// The TCP connection of one tester: whole messages in, whole messages out, each in a segment of
/// its own, and the times after which a silent tester is let go. All operations run on the loop's
/// thread.
class TesterConnection : public std::enable_shared_from_this<TesterConnection> {
public:
    using Socket = boost::asio::ip::tcp::socket;
    using Milliseconds = std::chrono::milliseconds;
    using BeforeIt = std::function<void(const Doip::Bytes& payload)>;

    /// `context` must outlive the loop's handlers.
    TesterConnection(Socket accepted, ConnectionContext& context);
    TesterConnection(const TesterConnection&) = delete;
    TesterConnection& operator=(const TesterConnection&) = delete;
    ~TesterConnection();

    void begin();
    /// "127.0.0.1:51234"
    [[nodiscard]] const std::string& peer() const noexcept { return peerName; }
    [[nodiscard]] bool isOpen() const noexcept { return state == State::Open; }

    /// The tester whose routing is active.
    [[nodiscard]] const std::optional<std::uint16_t>& tester() const noexcept { return address; }
    void activate(std::uint16_t testerAddress);
    void noteDiagnosticMessage();

    /// In the tester's version. With an interval the bytes go one by one. A tester that does not
    /// read is cut off.
    void send(Doip::PayloadType type, const Doip::Bytes& payload, Milliseconds byteInterval = {});
    /// The same later; nothing when the connection has ended by then. `beforeIt` is called first.
    void sendAt(EventLoop::TimePoint due, Doip::PayloadType type, Doip::Bytes payload,
                Milliseconds byteInterval, BeforeIt beforeIt);
    /// Asks the tester whether it is there; `onOutcome` is called once when it has answered or the
    /// connection has ended. A response that nobody asked for counts as an answer.
    /// The standard lets a tester send one at any time to keep its connection, nothing in it tells
    /// which request it answers, and who has sent it was there a moment ago.
    void askAlive(std::function<void()> onOutcome);
    /// `who` is the tester that says so; another one than that of this connection does not count.
    void noteAlive(std::uint16_t who);

    /// Nothing is read until `resume`.
    void pause() noexcept { isPaused = true; }
    void resume();
    /// Nothing is heard any more, although the connection stays. The end of the tester's side is
    /// noticed as long as little comes before it.
    [[nodiscard]] bool isPausedForGood() const noexcept { return pausedForGood; }
    void pauseForGood() noexcept { isPaused = pausedForGood = true; }

    /// Ends it once everything is sent.
    void finish(const std::wstring& cause);
    /// Ends it without time for what is not sent yet: the tester sees a reset.
    void reset(const std::wstring& cause);
    /// Resets the connection in the middle of the message.
    void breakOff(Doip::PayloadType type, const Doip::Bytes& payload, const std::wstring& cause);
    /// Ends it at once.
    void cut(const std::wstring& cause);

private:
    enum class State { Open, Finishing, Ended };
    struct Later {
        Schedule::Key key{};
        Doip::PayloadType type{};
        Doip::Bytes payload{};
        Milliseconds byteInterval{};
        BeforeIt beforeIt{};
    };
    struct TimeLimit {
        EventLoop::TimePoint end{};
        const wchar_t* cause = L"";
    };

    void read();
    void onRead(const boost::system::error_code& error, std::size_t count);
    void process();
    void handle(Inbox::Item item);
    void flush();
    void sendLater(std::uint64_t number);
    void dropLater();
    void dropNextByte();
    void write();
    void waitToWrite();
    void onWritten(std::size_t count);
    void end(State next, const std::wstring& cause);
    void shutDownIfSent();
    void closeSocket();
    void supervise();
    void watchAt(EventLoop::TimePoint time, void (TesterConnection::*look)());
    void lookAtTime();
    void endFarewell();
    [[nodiscard]] TimeLimit timeLimit() const;
    [[nodiscard]] bool mayWait(std::size_t more);

    Socket socket;
    ConnectionContext& context;
    const std::string peerName;
    State state = State::Open;
    std::optional<std::uint16_t> address;
    std::uint8_t version;
    std::deque<std::function<void()>> aliveChecks;

    Inbox inbox;
    std::array<std::uint8_t, std::size_t{64} * 1024> buffer{};
    bool isReading = false;
    bool isPaused = false;
    bool pausedForGood = false;
    std::size_t unheard = 0;

    Outbox outbox;
    /// Messages that are sent later, by their number, and what they take.
    std::map<std::uint64_t, Later> later;
    std::uint64_t laterCount = 0;
    std::size_t scheduled = 0;
    bool waitsToWrite = false;
    /// While a message of the tester's is dealt with: what goes out then goes out together.
    bool holdsBack = false;
    /// Of a message that goes byte by byte.
    std::optional<Schedule::Key> nextByte;

    EventLoop::TimePoint connectedAt;
    EventLoop::TimePoint lastActivity;
    EventLoop::TimePoint lastDiagnostic;
    /// Of the time limit that counts.
    Schedule::Key watch{};
    bool isShutDown = false;
};

} // namespace Quarlen::KelVehicle
