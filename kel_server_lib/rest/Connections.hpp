#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <mutex>
#include <optional>
#include <utility>

namespace Quarlen::Rest {

/// The open connections and what each of them is at. When there is no place for another client,
/// one of them makes room: first one that has never sent a request, then one that waits for its
/// next, then one whose last reply is written, then a newcomer that nobody has listened to yet,
/// then one that is still sending; of its kind always the one that is at it for longest. One whose
/// request is being served is never ended.
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

        // What the connection is at from now on. False when it has to end to make room instead.

        bool waitForRequest();
        bool receiveRequest();
        bool serveRequest();
        bool leave();

        /// It has to make room.
        [[nodiscard]] bool hasToEnd() const { return state == State::Ending; }
        /// The server stops.
        [[nodiscard]] bool serverStops() const { return connections.areStopping(); }

    private:
        friend class Connections;
        enum class State { New, Waiting, Receiving, Serving, Leaving, Ending };
        /// The lowest makes room first.
        using Turn = std::pair<int, std::uint64_t>;

        bool become(State next);
        [[nodiscard]] std::optional<Turn> turn(State seen) const;
        bool end(State seen);
        void stopWaiting();

        Connections& connections;
        const Socket socket;
        std::atomic<State> state{State::New};
        /// Grows from change to change over all connections.
        std::atomic<std::uint64_t> since;
        std::atomic<bool> hasSentRequest{false};
    };

    /// Ends one, but not the newcomer: a worker is free soon. False when all are being served.
    bool makeRoom(const Entry* newcomer = nullptr);
    /// From now on nobody waits for a request: their reading ends as if the client had closed.
    void stop();
    [[nodiscard]] bool areStopping() const { return stopping; }

private:
    std::mutex mutex;
    std::list<Entry*> entries;
    std::atomic<std::uint64_t> changes{0};
    std::atomic<bool> stopping{false};
};

} // namespace Quarlen::Rest
