#include "simulation/SimulatedControlUnit.hpp"

#include <utility>

#include "simulation/ServiceRule.hpp"
#include "uds/Identifiers.hpp"
#include "uds/LinkError.hpp"

namespace Quarlen::Simulation {

namespace {

using Uds::Bytes;
using Uds::Nrc;
using Uds::Service;

/// Well within P2*server, which is five seconds.
constexpr std::chrono::seconds pendingInterval{2};

Bytes negativeResponse(std::uint8_t service, Nrc code) {
    return {Uds::negativeResponseId, service, static_cast<std::uint8_t>(code)};
}

Bytes withoutSuppressBit(const Bytes& request) {
    Bytes plain = request;
    plain[1] = static_cast<std::uint8_t>(plain[1] & ~Uds::suppressPositiveResponseBit);
    return plain;
}

} // namespace

SimulatedControlUnit::SimulatedControlUnit(const ControlUnitDescription& description,
                                           Platform::Clock& clock)
    : description(description),
      clock(clock),
      data(description.dataIdentifiers),
      faultMemory(description.dtcs, description.dtcFormat, description.statusAvailability),
      security(description.securityLevels, description.address),
      flash(description.flashMemories, data),
      routines(description.routines),
      faults(description.faults),
      sessions(description.programmingFrom) {
    showSession();
}

std::vector<TimedResponse> SimulatedControlUnit::handle(const Bytes& request,
                                                        std::chrono::milliseconds extraWork) {
    const auto now = clock.now();
    if (request.empty() || now < bootedAt) {
        return {};
    }
    if (const auto* const fault = faults.next(request)) {
        return fail(*fault, now);
    }
    if (now < busyUntil) {
        return refuseWhileBusy(request, now);
    }
    if (sessions.hasTimedOut(now)) {
        enterDefaultSession();
    }
    // A block of a download is not copied.
    auto reply = Uds::suppressesPositiveResponse(request) ? serve(withoutSuppressBit(request))
                                                          : serve(request);
    reply.duration += extraWork;
    return schedule(request, std::move(reply), now);
}

Bytes SimulatedControlUnit::memoryContent(std::uint32_t address, std::uint32_t size) const {
    return flash.content({address, size});
}

std::vector<TimedResponse> SimulatedControlUnit::fail(const FaultDescription& fault,
                                                      TimePoint now) const {
    if (fault.linkLost) {
        throw Uds::ConnectionLost(L"the connection to " + description.name + L" on " +
                                  description.link + L" was lost");
    }
    if (fault.inputFull) {
        throw InputFull();
    }
    if (fault.response.empty()) {
        return {};
    }
    return {{now + description.responseDelay, fault.response}};
}

/// Refuses a request during another one; accepts TesterPresent with suppressed response.
std::vector<TimedResponse> SimulatedControlUnit::refuseWhileBusy(const Bytes& request,
                                                                 TimePoint now) const {
    const bool keepAlive = request[0] == static_cast<std::uint8_t>(Service::TesterPresent) &&
                           Uds::suppressesPositiveResponse(request);
    if (keepAlive) {
        return {};
    }
    return {
        {now + description.responseDelay, negativeResponse(request[0], Nrc::BusyRepeatRequest)}};
}

/// Schedules response pending while the work lasts, then the final response. A positive response is
/// left out when the request suppresses it and no response pending was sent (clause 8.2.2).
std::vector<TimedResponse> SimulatedControlUnit::schedule(const Bytes& request, ServiceReply reply,
                                                          TimePoint now) {
    const auto first = now + description.responseDelay;
    const auto final = first + reply.duration;
    std::vector<TimedResponse> responses;
    for (auto due = first; due < final; due += pendingInterval) {
        responses.push_back({due, negativeResponse(request[0], Nrc::ResponsePending)});
    }
    busyUntil = responses.empty() ? busyUntil : final;
    sessions.keep(final);
    if (reply.refusal) {
        responses.push_back({final, negativeResponse(request[0], *reply.refusal)});
    } else if (!responses.empty() || !Uds::suppressesPositiveResponse(request)) {
        responses.push_back({final, std::move(reply.response)});
    }
    return responses;
}

bool SimulatedControlUnit::offers(Service service) const {
    switch (service) {
    case Service::SecurityAccess:
        return !description.securityLevels.empty();
    case Service::InputOutputControlByIdentifier:
        return data.areControllable();
    case Service::ReadMemoryByAddress:
    case Service::RequestDownload:
    case Service::TransferData:
    case Service::RequestTransferExit:
        return flash.hasMemory();
    default:
        return true;
    }
}

AccessState SimulatedControlUnit::access() const {
    return {sessions.active(), security.unlockedLevel()};
}

/// Each session change, also to the active session, locks security access and ends a download. What
/// the default session does not offer ends with its begin (clause 10.2.2).
void SimulatedControlUnit::onSessionEntered() {
    security.lock();
    flash.abort();
    showSession();
    if (sessions.active() == Uds::Session::Default) {
        network.restore();
        data.returnControl();
    }
}

void SimulatedControlUnit::enterDefaultSession() {
    sessions.leave();
    onSessionEntered();
}

void SimulatedControlUnit::showSession() {
    data.set(Uds::Did::activeSession, {static_cast<std::uint8_t>(sessions.active())});
}

ServiceReply SimulatedControlUnit::serve(const Bytes& request) {
    const auto* const rule = findRule(request[0]);
    if (rule == nullptr || !offers(rule->service)) {
        return Nrc::ServiceNotSupported;
    }
    if (!access().inSession(rule->session)) {
        return Nrc::ServiceNotSupportedInActiveSession;
    }
    if (Uds::hasSubFunction(request[0]) && request.size() < 2) {
        return Nrc::IncorrectMessageLengthOrInvalidFormat;
    }
    return rule->run(*this, request);
}

ServiceReply SimulatedControlUnit::controlSession(const Bytes& request) {
    auto reply = sessions.handle(request);
    if (!reply.refusal) {
        onSessionEntered();
    }
    return reply;
}

/// Hard reset, key-off-on reset and soft reset have the same effect in the simulation.
ServiceReply SimulatedControlUnit::reset(const Bytes& request) {
    if (request[1] < 0x01 || request[1] > 0x03) {
        return Nrc::SubFunctionNotSupported;
    }
    if (request.size() != 2) {
        return Nrc::IncorrectMessageLengthOrInvalidFormat;
    }
    enterDefaultSession();
    if (description.bootTime.count() > 0) {
        bootedAt = clock.now() + description.responseDelay + description.bootTime;
    }
    return positiveResponse(Service::EcuReset, {request[1]});
}

ServiceReply SimulatedControlUnit::controlRoutine(const Bytes& request) {
    if (request.size() < 4) {
        return Nrc::IncorrectMessageLengthOrInvalidFormat;
    }
    const auto id = static_cast<std::uint16_t>(Uds::numberAt(request, 2, 2));
    const bool isFlash = FlashServices::owns(id) && !routines.knows(id);
    return isFlash ? flash.runRoutine(request, access()) : routines.control(request, access());
}

ServiceReply SimulatedControlUnit::stayPresent(const Bytes& request) {
    if (request[1] != 0x00) {
        return Nrc::SubFunctionNotSupported;
    }
    if (request.size() != 2) {
        return Nrc::IncorrectMessageLengthOrInvalidFormat;
    }
    return positiveResponse(Service::TesterPresent, {0x00});
}

} // namespace Quarlen::Simulation
