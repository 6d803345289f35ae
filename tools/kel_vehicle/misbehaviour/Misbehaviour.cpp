#include "tools/kel_vehicle/misbehaviour/Misbehaviour.hpp"

#include <algorithm>

namespace Quarlen::KelVehicle {

namespace {

void apply(const Misbehaviour& what, Plan& plan) {
    switch (what.kind) {
    case MisbehaviourKind::Pending:
        plan.pendingFor = what.duration;
        break;
    case MisbehaviourKind::Silence:
        plan.answer = Plan::Answer::None;
        break;
    case MisbehaviourKind::Late:
        plan.lateBy = what.duration;
        break;
    case MisbehaviourKind::Refuse:
        plan.answer = Plan::Answer::Refusal;
        plan.refusalCode = what.code;
        break;
    case MisbehaviourKind::Close:
        plan.answer = Plan::Answer::ClosedConnection;
        break;
    case MisbehaviourKind::Cut:
        plan.breaksOff = true;
        break;
    case MisbehaviourKind::Slow:
        plan.byteInterval = what.duration;
        break;
    case MisbehaviourKind::Echo:
        plan.hasWrongEcho = true;
        break;
    case MisbehaviourKind::NoAcknowledgement:
        plan.acknowledgement = Plan::Acknowledgement::None;
        break;
    case MisbehaviourKind::NegativeAcknowledgement:
        plan.acknowledgement = Plan::Acknowledgement::Negative;
        plan.nackCode = what.code;
        break;
    }
}

} // namespace

std::wstring kindText(MisbehaviourKind kind) {
    switch (kind) {
    case MisbehaviourKind::Pending:
        return L"pending";
    case MisbehaviourKind::Silence:
        return L"silence";
    case MisbehaviourKind::Late:
        return L"late";
    case MisbehaviourKind::Refuse:
        return L"refuse";
    case MisbehaviourKind::Close:
        return L"close";
    case MisbehaviourKind::Cut:
        return L"cut";
    case MisbehaviourKind::Slow:
        return L"slow";
    case MisbehaviourKind::Echo:
        return L"echo";
    case MisbehaviourKind::NoAcknowledgement:
        return L"noack";
    case MisbehaviourKind::NegativeAcknowledgement:
        return L"nack";
    }
    return {};
}

bool Misbehaviours::Rule::strikes(std::uint16_t target, const Uds::Bytes& request) {
    const bool isMeant = what.unit.value_or(target) == target &&
                         request.size() >= what.request.size() &&
                         std::equal(what.request.begin(), what.request.end(), request.begin());
    if (!isMeant) {
        return false;
    }
    ++seen;
    return seen >= what.at && (!what.times || seen - what.at < *what.times);
}

bool Misbehaviours::add(const Misbehaviour& misbehaviour) {
    if (rules.size() == maxMisbehaviours) {
        return false;
    }
    rules.push_back({misbehaviour});
    return true;
}

Plan Misbehaviours::planFor(std::uint16_t target, const Uds::Bytes& request) {
    Plan plan;
    for (Rule& rule : rules) {
        if (rule.strikes(target, request)) {
            apply(rule.what, plan);
            plan.text += (plan.text.empty() ? L"" : L", ") + kindText(rule.what.kind);
        }
    }
    return plan;
}

Uds::Bytes withWrongEcho(Uds::Bytes response) {
    if (response.size() > 1) {
        response[1] = static_cast<std::uint8_t>((response[1] + 1U) & 0xFFU);
    }
    return response;
}

} // namespace Quarlen::KelVehicle
