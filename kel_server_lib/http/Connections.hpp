#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <mutex>
#include <optional>
#include <utility>

namespace Quarlen::Rest {

/// The open connections and the state of each. When there is no place for another client, one of
/// them makes room: first one that has never sent a request, then one that waits for its next, then
/// one whose last reply is written, then a newcomer that no worker serves yet, then one that is
/// still sending; among equals the one that has been in its state for longest. A connection whose
/// request is being served is never ended. The accepting thread and the workers share the list;
/// each worker owns the entry of the connection that it serves.
class Connections {
public:
    /// The system's handle: a file descriptor or a SOCKET.
    using Socket = std::intptr_t;

    /// A connection's entry, kept by the worker that serves it and gone before its socket is
    /// closed.
    class Entry {
    public:
        Entry(Connections& connections, Socket socket);
        Entry(const Entry&) = delete;
        Entry& operator=(const Entry&) = delete;
        ~Entry() { remove(); }

        void remove();

        // Each sets the state of the connection. False when the connection has to end to make room
        // instead.

        bool waitForRequest();
        bool receiveRequest();
        bool serveRequest();
        bool leave();

        /// The connection has to make room.
        [[nodiscard]] bool hasToEnd() const { return state == State::Ending; }
        /// The server stops.
        [[nodiscard]] bool serverStops() const { return connections.areStopping(); }

    private:
        friend class Connections;
        enum class State { New, Waiting, Receiving, Serving, Leaving, Ending };
        /// The connection with the lowest turn makes room first.
        using Turn = std::pair<int, std::uint64_t>;

        bool become(State next);
        [[nodiscard]] std::optional<Turn> turn(State seen) const;
        bool end(State seen);
        void stopWaiting();

        Connections& connections;
        const Socket socket;
        std::atomic<State> state{State::New};
        /// Number of the last state change, counted over all connections.
        std::atomic<std::uint64_t> since;
        std::atomic<bool> hasSentRequest{false};
    };

    /// Ends one connection, but not the newcomer, so that its worker is free soon. False when all
    /// are being served.
    bool makeRoom(const Entry* newcomer = nullptr);
    /// From now on no connection waits for a request: its reading ends as if the client had closed.
    void stop();
    [[nodiscard]] bool areStopping() const { return stopping; }

private:
    std::mutex mutex;
    std::list<Entry*> entries;
    std::atomic<std::uint64_t> changes{0};
    std::atomic<bool> stopping{false};
};

} // namespace Quarlen::Rest
