#include "tools/kel_vehicle/entity/RoutingActivation.hpp"

#include <algorithm>
#include <array>

#include "uds/Uds.hpp"

namespace Quarlen::KelVehicle {

namespace {

using Doip::RoutingCode;

bool isTesterAddress(std::uint16_t address) {
    return address >= Doip::firstTesterAddress && address <= Doip::lastTesterAddress;
}

bool isSupported(std::uint8_t type) {
    constexpr std::array types{Doip::activationDefault, Doip::activationRequiredByRegulation,
                               Doip::activationCentralSecurity};
    return std::find(types.begin(), types.end(), type) != types.end();
}

} // namespace

void RoutingActivation::handle(TesterConnection& from,
                               const Doip::RoutingActivationRequest& request) {
    if (!isTesterAddress(request.tester)) {
        refuse(from, request.tester, RoutingCode::UnknownSourceAddress);
    } else if (!isSupported(request.type)) {
        refuse(from, request.tester, RoutingCode::UnsupportedActivationType);
    } else if (from.tester() && *from.tester() != request.tester) {
        refuse(from, request.tester, RoutingCode::OtherSourceAddressOnSocket);
        // NOLINTNEXTLINE(bugprone-branch-clone): the order of the questions is the standard's
    } else if (from.tester()) {
        accept(from, request.tester);
    } else if (const auto holder = testers.holderOf(request.tester)) {
        askOthers(from, request.tester, {holder});
    } else if (const auto active = testers.active(); active.size() >= rules.maxSockets) {
        askOthers(from, request.tester, active);
    } else {
        accept(from, request.tester);
    }
}

void RoutingActivation::askOthers(TesterConnection& from, std::uint16_t tester,
                                  const Connections& others) {
    from.pause();
    checkAlive(loop, others, rules.aliveCheck, [this, self = from.shared_from_this(), tester] {
        if (self->isOpen()) {
            decide(*self, tester);
            self->resume();
        }
    });
}

void RoutingActivation::decide(TesterConnection& from, std::uint16_t tester) {
    if (testers.holderOf(tester)) {
        refuse(from, tester, RoutingCode::SourceAddressInUse);
    } else if (testers.active().size() >= rules.maxSockets) {
        refuse(from, tester, RoutingCode::NoFreeSocket);
    } else {
        accept(from, tester);
    }
}

void RoutingActivation::accept(TesterConnection& from, std::uint16_t tester) {
    if (!from.tester()) {
        from.activate(tester);
    }
    respond(from, tester, RoutingCode::Activated);
}

void RoutingActivation::refuse(TesterConnection& from, std::uint16_t tester, RoutingCode code) {
    respond(from, tester, code);
    from.finish(L"the routing activation was refused");
}

void RoutingActivation::respond(TesterConnection& from, std::uint16_t tester, RoutingCode code) {
    const auto number = static_cast<std::uint8_t>(code);
    log.event(from.peer(), L"routing activation of " + Doip::addressText(tester) + L": " +
                               Doip::routingCodeText(number));
    from.send(Doip::PayloadType::RoutingActivationResponse,
              Doip::encode(Doip::RoutingActivationResponse{tester, rules.entityAddress, number}));
}

} // namespace Quarlen::KelVehicle
