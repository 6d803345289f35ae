#include "simulation/SessionControl.hpp"

#include <cstdint>

namespace Quarlen::Simulation {

namespace {

/// S3server of ISO 14229-2.
constexpr std::chrono::seconds sessionTimeout{5};

} // namespace

ServiceReply SessionControl::handle(const Uds::Bytes& request) {
    const auto wanted = request[1];
    if (wanted < static_cast<std::uint8_t>(Uds::Session::Default) ||
        wanted > static_cast<std::uint8_t>(Uds::Session::Extended)) {
        return Uds::Nrc::SubFunctionNotSupported;
    }
    const auto entered = static_cast<Uds::Session>(wanted);
    if (!mayEnter(entered)) {
        return Uds::Nrc::SubFunctionNotSupportedInActiveSession;
    }
    if (request.size() != 2) {
        return Uds::Nrc::IncorrectMessageLengthOrInvalidFormat;
    }
    session = entered;
    auto response = positiveResponse(Uds::Service::DiagnosticSessionControl, {wanted});
    Uds::appendNumber(response, 50, 2);  // P2server in milliseconds
    Uds::appendNumber(response, 500, 2); // P2*server in units of ten milliseconds
    return response;
}

bool SessionControl::mayEnter(Uds::Session wanted) const noexcept {
    return wanted != Uds::Session::Programming || programmingFrom == ProgrammingFrom::AnySession ||
           session != Uds::Session::Default;
}

bool SessionControl::hasTimedOut(TimePoint now) const noexcept {
    return session != Uds::Session::Default && now - lastActivity > sessionTimeout;
}

} // namespace Quarlen::Simulation
