#include "simulation/SimulatedControlUnit.hpp"

#include <algorithm>
#include <array>
#include <utility>

#include "uds/Identifiers.hpp"
#include "uds/LinkError.hpp"

namespace Quarlen::Simulation {

namespace {

using std::chrono::milliseconds;
using Uds::Bytes;
using Uds::Nrc;
using Uds::Service;

/// S3server of ISO 14229-2.
constexpr std::chrono::seconds sessionTimeout{5};
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

struct SimulatedControlUnit::ServiceRule {
    using Unit = SimulatedControlUnit;
    using Request = const Bytes&;

    Service service;
    /// The required session; the default session stands for any session.
    Uds::Session session;
    ServiceReply (*run)(Unit& unit, Request request);

    /// The most frequent service comes first.
    static const std::array<ServiceRule, 12> all;
};

constinit const std::array<SimulatedControlUnit::ServiceRule, 12>
    SimulatedControlUnit::ServiceRule::all{{
        {Service::TransferData, Uds::Session::Programming,
         [](Unit& unit, Request request) { return unit.flash.transferData(request); }},
        {Service::DiagnosticSessionControl, Uds::Session::Default,
         [](Unit& unit, Request request) { return unit.controlSession(request); }},
        {Service::EcuReset, Uds::Session::Default,
         [](Unit& unit, Request request) { return unit.reset(request); }},
        {Service::ClearDiagnosticInformation, Uds::Session::Default,
         [](Unit& unit, Request request) { return unit.faultMemory.clear(request); }},
        {Service::ReadDtcInformation, Uds::Session::Default,
         [](Unit& unit, Request request) { return unit.faultMemory.read(request); }},
        {Service::ReadDataByIdentifier, Uds::Session::Default,
         [](Unit& unit, Request request) { return unit.data.read(request); }},
        {Service::SecurityAccess, Uds::Session::Extended,
         [](Unit& unit, Request request) {
             return unit.security.handle(request, unit.clock.now());
         }},
        {Service::WriteDataByIdentifier, Uds::Session::Default,
         [](Unit& unit, Request request) { return unit.data.write(request, unit.access()); }},
        {Service::RoutineControl, Uds::Session::Default,
         [](Unit& unit, Request request) { return unit.controlRoutine(request); }},
        {Service::RequestDownload, Uds::Session::Programming,
         [](Unit& unit, Request request) { return unit.requestDownload(request); }},
        {Service::RequestTransferExit, Uds::Session::Programming,
         [](Unit& unit, Request request) { return unit.flash.transferExit(request); }},
        {Service::TesterPresent, Uds::Session::Default,
         [](Unit& unit, Request request) { return unit.stayPresent(request); }},
    }};

const SimulatedControlUnit::ServiceRule* SimulatedControlUnit::findRule(std::uint8_t serviceId) {
    const auto& rules = ServiceRule::all;
    const auto rule = std::find_if(rules.begin(), rules.end(), [&](const auto& candidate) {
        return static_cast<std::uint8_t>(candidate.service) == serviceId;
    });
    return rule == rules.end() ? nullptr : &*rule;
}

SimulatedControlUnit::SimulatedControlUnit(const ControlUnitDescription& description,
                                           Platform::Clock& clock)
    : description(description),
      clock(clock),
      data(description.dataIdentifiers),
      faultMemory(description.dtcs),
      security(description.securityLevels, description.address),
      flash(description.flashMemories),
      routines(description.routines),
      faults(description.faults) {}

std::vector<TimedResponse> SimulatedControlUnit::handle(const Bytes& request) {
    const auto now = clock.now();
    if (request.empty()) {
        return {};
    }
    if (const auto* const fault = faults.next(request)) {
        return fail(*fault, now);
    }
    if (now < busyUntil) {
        return refuseWhileBusy(request, now);
    }
    leaveTimedOutSession(now);
    const bool suppressed = Uds::suppressesPositiveResponse(request);
    return schedule(request, serve(suppressed ? withoutSuppressBit(request) : request), now);
}

Bytes SimulatedControlUnit::memoryContent(std::uint32_t address, std::uint32_t size) const {
    return flash.content(address, size);
}

std::vector<TimedResponse> SimulatedControlUnit::fail(const FaultDescription& fault,
                                                      TimePoint now) const {
    if (fault.linkLost) {
        throw Uds::ConnectionLost(L"the connection to " + description.name + L" on " +
                                  description.link + L" was lost");
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
    lastActivity = final;
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
    case Service::RequestDownload:
    case Service::TransferData:
    case Service::RequestTransferExit:
        return flash.hasMemory();
    default:
        return true;
    }
}

AccessState SimulatedControlUnit::access() const {
    return {session, security.unlockedLevel()};
}

/// Each session change, also to the active session, locks security access and ends a download
/// (clause 10.2).
void SimulatedControlUnit::enterSession(Uds::Session entered) {
    session = entered;
    security.lock();
    flash.abort();
}

void SimulatedControlUnit::leaveTimedOutSession(TimePoint now) {
    if (session != Uds::Session::Default && now - lastActivity > sessionTimeout) {
        enterSession(Uds::Session::Default);
    }
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
    const auto wanted = request[1];
    if (wanted < static_cast<std::uint8_t>(Uds::Session::Default) ||
        wanted > static_cast<std::uint8_t>(Uds::Session::Extended)) {
        return Nrc::SubFunctionNotSupported;
    }
    if (request.size() != 2) {
        return Nrc::IncorrectMessageLengthOrInvalidFormat;
    }
    enterSession(static_cast<Uds::Session>(wanted));
    auto response = positiveResponse(Service::DiagnosticSessionControl, {wanted});
    Uds::appendNumber(response, 50, 2);  // P2server in milliseconds
    Uds::appendNumber(response, 500, 2); // P2*server in units of ten milliseconds
    return response;
}

/// Hard reset, key-off-on reset and soft reset have the same effect in the simulation.
ServiceReply SimulatedControlUnit::reset(const Bytes& request) {
    if (request[1] < 0x01 || request[1] > 0x03) {
        return Nrc::SubFunctionNotSupported;
    }
    if (request.size() != 2) {
        return Nrc::IncorrectMessageLengthOrInvalidFormat;
    }
    enterSession(Uds::Session::Default);
    return positiveResponse(Service::EcuReset, {request[1]});
}

ServiceReply SimulatedControlUnit::controlRoutine(const Bytes& request) {
    if (request.size() < 4) {
        return Nrc::IncorrectMessageLengthOrInvalidFormat;
    }
    const auto id = Uds::numberAt(request, 2, 2);
    if (id == Uds::Routine::eraseMemory || id == Uds::Routine::checkMemory) {
        return runFlashRoutine(request);
    }
    return routines.control(request, access());
}

ServiceReply SimulatedControlUnit::runFlashRoutine(const Bytes& request) {
    if (!flash.hasMemory() || !access().inSession(Uds::Session::Programming)) {
        return Nrc::RequestOutOfRange;
    }
    if (!access().unlocked(flash.securityLevel())) {
        return Nrc::SecurityAccessDenied;
    }
    if (request[1] != Uds::RoutineControlType::startRoutine) {
        return Nrc::SubFunctionNotSupported;
    }
    if (Uds::numberAt(request, 2, 2) == Uds::Routine::eraseMemory) {
        return flash.erase(request);
    }
    auto reply = flash.check(request);
    if (auto version = flash.takeNewSoftwareVersion()) {
        data.set(Uds::Did::softwareVersion, std::move(*version));
    }
    return reply;
}

ServiceReply SimulatedControlUnit::requestDownload(const Bytes& request) {
    if (!access().unlocked(flash.securityLevel())) {
        return Nrc::SecurityAccessDenied;
    }
    return flash.requestDownload(request);
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
