#include "uds/Connection.hpp"

#include <utility>

namespace Quarlen::Uds {

Connection::Connection(std::shared_ptr<VehicleInterface> openInterface, Platform::Clock& clock,
                       const Timing& timing, OnBusEvent onEvent)
    : vehicleInterface(std::move(openInterface)),
      clock(clock),
      timing(timing),
      onEvent(std::move(onEvent)) {}

Connection::~Connection() {
    close();
}

VehicleLink Connection::openLink(const UnitAddress& unit) {
    try {
        return VehicleLink(channelOf(unit));
    } catch (const LinkError& error) {
        onEvent({BusEvent::Kind::Lost, unit, {}, error.message()});
        throw;
    }
}

std::shared_ptr<Channel> Connection::channelOf(const UnitAddress& unit) {
    const UnitAddress resolved = vehicleInterface->resolve(unit);
    const std::lock_guard lock(mutex);
    const auto known = channels.find(resolved.physical.value());
    if (known != channels.end()) {
        return known->second;
    }
    auto channel = std::make_shared<Channel>(resolved, vehicleInterface->openEndpoint(resolved),
                                             clock, timing, onEvent);
    channels.emplace(*resolved.physical, channel);
    return channel;
}

std::vector<bool> Connection::whoAnswers(const std::vector<UnitAddress>& units,
                                         const Bytes& request, const std::stop_token& cancel) {
    std::vector<std::shared_ptr<Channel>> asked;
    asked.reserve(units.size());
    for (const UnitAddress& unit : units) {
        asked.push_back(channelIfThere(unit));
    }
    // In the order of the addresses, as everybody does it: nobody waits for another one's turn who
    // waits for his. One control unit is asked once.
    std::map<std::uint16_t, std::optional<Channel::Question>> questions;
    for (const auto& channel : asked) {
        if (channel) {
            questions.try_emplace(*channel->unit().physical);
        }
    }
    for (auto& [address, question] : questions) {
        question = channelAt(address)->ask(request, cancel);
    }
    std::map<std::uint16_t, bool> answered;
    for (auto& [address, question] : questions) {
        answered[address] = question->isAnswered(cancel);
    }
    std::vector<bool> result;
    result.reserve(units.size());
    for (const auto& channel : asked) {
        result.push_back(channel && answered[*channel->unit().physical]);
    }
    return result;
}

/// Null for a unit that the vehicle does not have.
std::shared_ptr<Channel> Connection::channelIfThere(const UnitAddress& unit) {
    try {
        return channelOf(unit);
    } catch (const ConnectionLost&) {
        throw;
    } catch (const LinkError& error) {
        onEvent({BusEvent::Kind::Lost, unit, {}, error.message()});
        return nullptr;
    }
}

std::shared_ptr<Channel> Connection::channelAt(std::uint16_t address) {
    const std::lock_guard lock(mutex);
    return channels.at(address);
}

std::vector<Received> Connection::requestFromAll(std::uint16_t functionalAddress,
                                                 const Bytes& request,
                                                 const std::stop_token& cancel) {
    const auto endpoint = vehicleInterface->openFunctional(functionalAddress);
    const UnitAddress all{L"", std::nullopt, functionalAddress};
    onEvent({BusEvent::Kind::Request, all, request});
    const auto deadline = clock.now() + timing.p2;
    endpoint->send(request, {cancel, deadline});
    std::vector<Received> responses;
    while (auto received = endpoint->receive({cancel, deadline})) {
        UnitAddress sender = all;
        sender.physical = received->source;
        onEvent({BusEvent::Kind::Response, sender, received->bytes});
        responses.push_back(std::move(*received));
    }
    return responses;
}

std::vector<std::shared_ptr<Channel>> Connection::heldChannels() {
    std::vector<std::shared_ptr<Channel>> held;
    const std::lock_guard lock(mutex);
    for (const auto& [address, channel] : channels) {
        if (channel->isHeld()) {
            held.push_back(channel);
        }
    }
    return held;
}

bool Connection::holdsSessions() {
    return !heldChannels().empty();
}

std::wstring Connection::keepSessions() {
    std::wstring failure;
    for (const auto& channel : heldChannels()) {
        try {
            channel->keepSession();
        } catch (const LinkError& error) {
            failure = failure.empty() ? error.message() : failure;
        } catch (const Cancelled&) {
            // The connection is being closed.
        }
    }
    return failure;
}

} // namespace Quarlen::Uds
