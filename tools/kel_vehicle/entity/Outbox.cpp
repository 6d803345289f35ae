#include "tools/kel_vehicle/entity/Outbox.hpp"

#include <utility>

namespace Quarlen::KelVehicle {

void Outbox::add(Doip::Bytes message, Milliseconds byteInterval) {
    waiting += message.size() + perMessage;
    messages.push_back({std::move(message), byteInterval});
}

std::span<const std::uint8_t> Outbox::piece() const {
    if (messages.empty()) {
        return {};
    }
    const auto rest = std::span(messages.front().bytes).subspan(sent);
    return messages.front().byteInterval.count() > 0 ? rest.first(1) : rest;
}

Outbox::Milliseconds Outbox::take(std::size_t count) {
    sent += count;
    waiting -= count;
    const Waiting& first = messages.front();
    if (sent < first.bytes.size()) {
        return first.byteInterval;
    }
    messages.pop_front();
    waiting -= perMessage;
    sent = 0;
    return {};
}

void Outbox::clear() {
    messages.clear();
    sent = 0;
    waiting = 0;
}

} // namespace Quarlen::KelVehicle
