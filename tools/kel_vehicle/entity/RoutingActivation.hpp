#pragma once

#include <cstddef>
#include <cstdint>

#include "doip/Payloads.hpp"
#include "tools/kel_vehicle/entity/ExchangeLog.hpp"
#include "tools/kel_vehicle/entity/Testers.hpp"

namespace Quarlen::KelVehicle {

/// What the entity knows of who may come in.
struct RoutingRules {
    std::uint16_t entityAddress = 0;
    std::size_t maxSockets = maxTesters;
    std::chrono::milliseconds aliveCheck{500};
};

/// Lets testers in or refuses them (routing activation and socket handler, ISO 13400-2:2019,
/// clauses 7.4 and 9.2.3): one connection for each tester, and no more than there are sockets. Who
/// holds what is wanted is asked first whether he is still there. All operations run on the loop's
/// thread.
class RoutingActivation {
public:
    /// All of them must outlive it.
    RoutingActivation(EventLoop& loop, Testers& testers, const ExchangeLog& log,
                      const RoutingRules& rules)
        : loop(loop), testers(testers), log(log), rules(rules) {}

    void handle(TesterConnection& from, const Doip::RoutingActivationRequest& request);

private:
    /// Nothing is read of the connection until the others have answered.
    void askOthers(TesterConnection& from, std::uint16_t tester, const Connections& others);
    void decide(TesterConnection& from, std::uint16_t tester);
    void accept(TesterConnection& from, std::uint16_t tester);
    void refuse(TesterConnection& from, std::uint16_t tester, Doip::RoutingCode code);
    void respond(TesterConnection& from, std::uint16_t tester, Doip::RoutingCode code);

    EventLoop& loop;
    Testers& testers;
    const ExchangeLog& log;
    const RoutingRules rules;
};

} // namespace Quarlen::KelVehicle
