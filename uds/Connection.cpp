#include "uds/Connection.hpp"

#include <set>
#include <utility>

#include "uds/Matching.hpp"

namespace Quarlen::Uds {

namespace {

/// To one functional request. A vehicle that floods does not take the memory.
constexpr std::size_t maxResponses = 4096;

/// Nothing for a control unit that does not get the message, and so does not answer it.
std::optional<Channel::Question> questionTo(Channel& channel, Channel::Turn turn,
                                            const Bytes& request, const std::stop_token& cancel) {
    try {
        return channel.ask(std::move(turn), request, cancel);
    } catch (const MessageRefused&) {
        return {};
    }
}

} // namespace

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
    {
        const std::lock_guard lock(mutex);
        const auto known = channels.find(resolved.physical.value());
        if (known != channels.end()) {
            return known->second;
        }
    }
    // Without the lock: an interface that loses its connection meanwhile tells it, and whoever
    // hears of it may ask for the sessions that are held.
    auto channel = std::make_shared<Channel>(resolved, vehicleInterface->openEndpoint(resolved),
                                             clock, timing, onEvent);
    const std::lock_guard lock(mutex);
    return channels.try_emplace(*resolved.physical, std::move(channel)).first->second;
}

std::vector<bool> Connection::whoAnswers(const std::vector<UnitAddress>& units,
                                         const Bytes& request, const std::stop_token& cancel) {
    std::vector<std::shared_ptr<Channel>> asked;
    asked.reserve(units.size());
    for (const UnitAddress& unit : units) {
        asked.push_back(channelIfThere(unit));
    }
    Units silent;
    for (const auto& channel : asked) {
        if (channel) {
            silent.emplace(*channel->unit().physical, channel);
        }
    }
    askTogether(silent, request, cancel);
    askEach(silent, request, cancel);
    std::vector<bool> result;
    result.reserve(units.size());
    for (const auto& channel : asked) {
        result.push_back(channel && !silent.contains(*channel->unit().physical));
    }
    return result;
}

/// Takes those that answer out of the list.
void Connection::askTogether(Units& silent, const Bytes& request, const std::stop_token& cancel) {
    std::set<std::uint16_t> groups;
    for (const auto& [address, channel] : silent) {
        if (channel->unit().functional) {
            groups.insert(*channel->unit().functional);
        }
    }
    for (const std::uint16_t group : groups) {
        askGroup(group, silent, request, cancel);
    }
}

void Connection::askGroup(std::uint16_t functionalAddress, Units& silent, const Bytes& request,
                          const std::stop_token& cancel) {
    // A control unit gets one request at a time, whoever else it is for.
    std::map<std::uint16_t, Channel::Turn> turns;
    for (const auto& [address, channel] : silent) {
        if (channel->unit().functional == functionalAddress) {
            if (auto turn = channel->turnIfIdle()) {
                turns.emplace(address, std::move(turn));
            }
        }
    }
    try {
        collect(functionalAddress, request, cancel, [&](const Received& response) {
            if (matches(request, response.bytes) && turns.erase(response.source) != 0) {
                silent.erase(response.source);
            }
            return turns.empty();
        });
    } catch (const MessageRefused&) {
        // Each is asked for itself then.
    }
}

/// First those that are idle, at the same time; then those that somebody uses, one after the other,
/// so that nobody is kept from a control unit because another one is busy.
void Connection::askEach(Units& silent, const Bytes& request, const std::stop_token& cancel) {
    Units busy;
    std::map<std::uint16_t, Channel::Question> questions;
    for (const auto& [address, channel] : silent) {
        auto turn = channel->turnIfIdle();
        if (!turn) {
            busy.emplace(address, channel);
        } else if (auto question = questionTo(*channel, std::move(turn), request, cancel)) {
            questions.emplace(address, std::move(*question));
        }
    }
    for (auto& [address, question] : questions) {
        if (question.isAnswered(cancel)) {
            silent.erase(address);
        }
    }
    for (const auto& [address, channel] : busy) {
        auto question = questionTo(*channel, channel->takeTurn(cancel), request, cancel);
        if (question && question->isAnswered(cancel)) {
            silent.erase(address);
        }
    }
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

std::vector<Received> Connection::requestFromAll(std::uint16_t functionalAddress,
                                                 const Bytes& request,
                                                 const std::stop_token& cancel) {
    return collect(functionalAddress, request, cancel, [](const Received&) { return false; });
}

std::vector<Received> Connection::collect(std::uint16_t functionalAddress, const Bytes& request,
                                          const std::stop_token& cancel, const Until& isLast) {
    const auto endpoint = vehicleInterface->openFunctional(functionalAddress);
    const UnitAddress all{L"", std::nullopt, functionalAddress, vehicleInterface->tester()};
    onEvent({BusEvent::Kind::Request, all, request});
    const auto deadline = clock.now() + timing.p2;
    endpoint->send(request, {cancel, deadline});
    std::vector<Received> responses;
    while (auto received = responses.size() < maxResponses ? endpoint->receive({cancel, deadline})
                                                           : std::nullopt) {
        UnitAddress sender = all;
        sender.physical = received->source;
        onEvent({BusEvent::Kind::Response, sender, received->bytes});
        responses.push_back(std::move(*received));
        if (isLast(responses.back())) {
            break;
        }
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
