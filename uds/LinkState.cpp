#include "uds/LinkState.hpp"

#include <memory>

#include "uds/LinkError.hpp"

namespace Quarlen::Uds {

void LinkState::open() {
    const std::lock_guard lock(mutex);
    if (hasBeenClosed) {
        throw Cancelled();
    }
    state = State::Open;
}

void LinkState::close() noexcept {
    std::unique_lock lock(mutex);
    state = State::Closed;
    hasBeenClosed = true;
    // The owner of the listener may go once this returns. A listener that closes waits for nobody.
    told.wait(lock, [this] { return !losing || teller == std::this_thread::get_id(); });
}

void LinkState::lose(const std::wstring& text) {
    {
        const std::lock_guard lock(mutex);
        if (state != State::Open || losing.exchange(true)) {
            return;
        }
        cause = text;
        teller = std::this_thread::get_id();
    }
    const std::unique_ptr<LinkState, EndLoss> end(this);
    // Before anybody else can find it lost.
    if (listener) {
        listener(text);
    }
}

void LinkState::endLoss() {
    const std::lock_guard lock(mutex);
    losing = false;
    if (state == State::Open) {
        state = State::Lost;
    }
    told.notify_all();
}

void LinkState::check() const {
    if (state == State::Open) {
        return;
    }
    const std::lock_guard lock(mutex);
    if (state == State::Lost) {
        throw ConnectionLost(cause);
    }
    throw Cancelled();
}

} // namespace Quarlen::Uds
