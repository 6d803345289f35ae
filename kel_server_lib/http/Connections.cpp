#include "kel_server_lib/http/Connections.hpp"

#include "platform/ConnectionSocket.hpp"

namespace Quarlen::Rest {

Connections::Entry::Entry(Connections& connections, Socket socket)
    : connections(connections), socket(socket), since(++connections.changes) {
    const std::lock_guard lock(connections.mutex);
    connections.entries.push_back(this);
}

void Connections::Entry::remove() {
    const std::lock_guard lock(connections.mutex);
    connections.entries.remove(this);
}

bool Connections::Entry::become(State next) {
    since = ++connections.changes;
    State seen = state;
    while (seen != State::Ending && !state.compare_exchange_weak(seen, next)) {
    }
    return seen != State::Ending;
}

bool Connections::Entry::waitForRequest() {
    if (!become(State::Waiting)) {
        return false;
    }
    // A stop that came before this connection waited did not end its reading.
    if (connections.stopping) {
        stopWaiting();
    }
    return true;
}

bool Connections::Entry::receiveRequest() {
    return become(State::Receiving);
}

bool Connections::Entry::serveRequest() {
    hasSentRequest = true;
    return become(State::Serving);
}

bool Connections::Entry::leave() {
    return become(State::Leaving);
}

std::optional<Connections::Entry::Turn> Connections::Entry::turn(State seen) const {
    switch (seen) {
    case State::Waiting:
        return Turn{hasSentRequest ? 1 : 0, since};
    case State::Leaving:
        return Turn{2, since};
    case State::New:
        return Turn{3, since};
    case State::Receiving:
        return Turn{4, since};
    default:
        return std::nullopt;
    }
}

bool Connections::Entry::end(State seen) {
    if (!state.compare_exchange_strong(seen, State::Ending)) {
        return false;
    }
    Platform::stopReading(socket);
    return true;
}

void Connections::Entry::stopWaiting() {
    // Only a waiting connection is ended. To end the reading of one that receives would discard
    // what it is about to receive: a client in the middle of its body would notice only minutes
    // later.
    State seen = State::Waiting;
    if (state.compare_exchange_strong(seen, State::Receiving)) {
        Platform::stopReading(socket);
    }
}

bool Connections::makeRoom(const Entry* newcomer) {
    const std::lock_guard lock(mutex);
    for (;;) {
        Entry* first = nullptr;
        Entry::State state{};
        std::optional<Entry::Turn> lowest;
        for (Entry* const entry : entries) {
            const Entry::State seen = entry->state;
            const auto turn = entry == newcomer ? std::nullopt : entry->turn(seen);
            if (turn && (!lowest || *turn < *lowest)) {
                first = entry;
                state = seen;
                lowest = turn;
            }
        }
        if (first == nullptr || first->end(state)) {
            return first != nullptr;
        }
    }
}

void Connections::stop() {
    stopping = true;
    const std::lock_guard lock(mutex);
    for (Entry* const entry : entries) {
        entry->stopWaiting();
    }
}

} // namespace Quarlen::Rest
