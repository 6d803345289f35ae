#include "tools/kel_vehicle/entity/Diagnostics.hpp"

#include <chrono>
#include <cstddef>
#include <utility>

#include "tools/kel_vehicle/entity/EntityLimits.hpp"
#include "uds/LinkError.hpp"

namespace Quarlen::KelVehicle {

namespace {

using Doip::DiagnosticNackCode;

/// Logical addresses of functional groups (ISO 13400-2:2019, table 13); each reaches all.
bool isFunctional(std::uint16_t address) {
    constexpr std::uint16_t first = 0xE000;
    constexpr std::uint16_t last = 0xEFFF;
    return address >= first && address <= last;
}

/// With or without a response.
bool isTesterPresent(const Uds::Bytes& request) {
    return request.size() == 2 &&
           request[0] == static_cast<std::uint8_t>(Uds::Service::TesterPresent) &&
           (request[1] == 0 || request[1] == Uds::suppressPositiveResponseBit);
}

/// As the simulated control units send it.
constexpr std::chrono::seconds pendingInterval{2};
constexpr auto responsePending = static_cast<std::uint8_t>(Uds::Nrc::ResponsePending);

constexpr const wchar_t* brokenOffText = L"broken off on request";

/// The control units behind a functional address answer in no order.
std::size_t lastDueOf(const std::vector<Simulation::Arrival>& answers) {
    std::size_t last = 0;
    for (std::size_t index = 1; index < answers.size(); ++index) {
        last = answers[index].due >= answers[last].due ? index : last;
    }
    return last;
}

std::uint8_t codeOf(DiagnosticNackCode code) {
    return static_cast<std::uint8_t>(code);
}

} // namespace

bool Diagnostics::knows(const Doip::DiagnosticMessage& request) const {
    return units.has(request.target) || isFunctional(request.target) || isForGateway(request);
}

/// The gateway is no control unit, but takes what only keeps the connection, as gateways do.
bool Diagnostics::isForGateway(const Doip::DiagnosticMessage& request) const {
    return request.target == gateway && !units.has(gateway) && isTesterPresent(request.data);
}

void Diagnostics::handle(TesterConnection& from, const Doip::DiagnosticMessage& request) {
    ++handled;
    log.message(from.peer(), request);
    if (from.tester() != request.source) {
        refuse(from, request, codeOf(DiagnosticNackCode::InvalidSourceAddress));
        from.finish(L"the source address of a diagnostic message has no active routing");
        return;
    }
    from.noteDiagnosticMessage();
    if (!knows(request)) {
        refuse(from, request, codeOf(DiagnosticNackCode::UnknownTargetAddress));
    } else if (request.data.size() > maxRequest) {
        refuse(from, request, codeOf(DiagnosticNackCode::MessageTooLarge));
    } else {
        serve(from, request);
    }
}

void Diagnostics::serve(TesterConnection& from, const Doip::DiagnosticMessage& request) {
    const Plan plan = misbehaviours.planFor(request.target, request.data);
    if (!plan.text.empty()) {
        log.event(from.peer(), L"misbehaviour: " + plan.text);
    }
    try {
        serveAsPlanned(from, request, plan);
    } catch (const Uds::ConnectionLost& loss) {
        from.cut(loss.message());
    } catch (const Simulation::InputFull&) {
        log.event(from.peer(), L"takes no message any more");
        from.pauseForGood();
    }
}

/// The control unit is asked first: it may lose the connection or not take the message, which is
/// then not acknowledged.
void Diagnostics::serveAsPlanned(TesterConnection& from, const Doip::DiagnosticMessage& request,
                                 const Plan& plan) {
    if (plan.acknowledgement == Plan::Acknowledgement::Negative) {
        refuse(from, request, plan.nackCode);
        return;
    }
    auto answers = answersTo(request, plan);
    if (plan.acknowledgement == Plan::Acknowledgement::Positive) {
        acknowledge(from, request);
    }
    if (plan.answer == Plan::Answer::ClosedConnection) {
        from.finish(L"closed on request");
    }
    const std::size_t brokenOff = plan.breaksOff ? lastDueOf(answers) : answers.size();
    for (std::size_t index = 0; index < answers.size(); ++index) {
        send(from, std::move(answers[index]), request.source, plan, index == brokenOff);
    }
    if (plan.breaksOff && answers.empty()) {
        from.reset(brokenOffText);
    }
}

Diagnostics::Arrivals Diagnostics::answersTo(const Doip::DiagnosticMessage& request,
                                             const Plan& plan) {
    switch (plan.answer) {
    case Plan::Answer::Real:
        return ask(request, plan.pendingFor);
    case Plan::Answer::Refusal:
        return refusals(request, plan);
    case Plan::Answer::None:
    case Plan::Answer::ClosedConnection:
        break;
    }
    return {};
}

/// As control units do it that refuse only once they have worked.
Diagnostics::Arrivals Diagnostics::refusals(const Doip::DiagnosticMessage& request,
                                            const Plan& plan) const {
    const bool isOne = units.has(request.target) || isForGateway(request);
    const auto sources = isOne ? std::vector{request.target} : units.addresses();
    const auto service = request.data.front();
    const auto now = units.clock().now();
    Arrivals answers;
    for (const auto source : sources) {
        for (auto due = now; due < now + plan.pendingFor; due += pendingInterval) {
            answers.push_back({due, {source, {Uds::negativeResponseId, service, responsePending}}});
        }
        answers.push_back({now + plan.pendingFor,
                           {source, {Uds::negativeResponseId, service, plan.refusalCode}}});
    }
    return answers;
}

Diagnostics::Arrivals Diagnostics::answersOfGateway(const Doip::DiagnosticMessage& request) const {
    if (Uds::suppressesPositiveResponse(request.data)) {
        return {};
    }
    const auto positive = static_cast<std::uint8_t>(request.data[0] + Uds::positiveResponseOffset);
    return {{units.clock().now(), {gateway, {positive, 0}}}};
}

Diagnostics::Arrivals Diagnostics::ask(const Doip::DiagnosticMessage& request,
                                       std::chrono::milliseconds extraWork) {
    if (isForGateway(request)) {
        return answersOfGateway(request);
    }
    if (!units.has(request.target)) {
        return units.askAll(request.data, extraWork);
    }
    Arrivals answers;
    for (auto& response : units.ask(request.target, request.data, extraWork)) {
        answers.push_back({response.due, {request.target, std::move(response.bytes)}});
    }
    return answers;
}

void Diagnostics::send(TesterConnection& target, Simulation::Arrival arrival, std::uint16_t tester,
                       const Plan& plan, bool breaksOff) {
    auto& bytes = arrival.message.bytes;
    const Doip::DiagnosticMessage answer{arrival.message.source, tester,
                                         plan.hasWrongEcho ? withWrongEcho(std::move(bytes))
                                                           : std::move(bytes)};
    target.sendAt(
        arrival.due + plan.lateBy, Doip::PayloadType::DiagnosticMessage, Doip::encode(answer),
        plan.byteInterval, [this, &target, breaksOff](const auto& payload) {
            log.payload(target.peer(), payload);
            if (breaksOff) {
                target.breakOff(Doip::PayloadType::DiagnosticMessage, payload, brokenOffText);
            }
        });
}

/// Nothing of the message goes back with it: that would double what a flash sends.
void Diagnostics::acknowledge(TesterConnection& from, const Doip::DiagnosticMessage& request) {
    from.send(Doip::PayloadType::DiagnosticMessageAck,
              Doip::encode(Doip::DiagnosticAck{request.target, request.source}));
}

void Diagnostics::refuse(TesterConnection& from, const Doip::DiagnosticMessage& request,
                         std::uint8_t code) {
    log.event(from.peer(), L"not passed on to " + Doip::addressText(request.target) + L": " +
                               Doip::diagnosticNackText(code));
    from.send(Doip::PayloadType::DiagnosticMessageNack,
              Doip::encode(Doip::DiagnosticAck{request.target, request.source, code}));
}

} // namespace Quarlen::KelVehicle
