#include "simulation/NetworkControl.hpp"

#include "uds/Identifiers.hpp"

namespace Quarlen::Simulation {

namespace {

namespace ControlType = Uds::CommunicationControlType;
namespace SettingType = Uds::DtcSettingType;

/// The bits of communicationType that tell the kind of messages (annex B.1).
constexpr std::uint8_t kindBits = Uds::CommunicationType::normalAndNetworkManagement;
/// The bits that tell the network: 0 for all of them, 0xF for the one that the request came on.
/// Other networks are not there.
constexpr std::uint8_t networkBits = 0xF0;

bool isCommunicationType(std::uint8_t type) {
    const auto network = type & networkBits;
    return (type & kindBits) != 0 && (type & ~(kindBits | networkBits)) == 0 &&
           (network == 0 || network == networkBits);
}

} // namespace

ServiceReply NetworkControl::controlCommunication(const Uds::Bytes& request) {
    const auto type = request[1];
    if (type > ControlType::disableRxAndTx) {
        return Uds::Nrc::SubFunctionNotSupported;
    }
    if (request.size() != 3) {
        return Uds::Nrc::IncorrectMessageLengthOrInvalidFormat;
    }
    if (!isCommunicationType(request[2])) {
        return Uds::Nrc::RequestOutOfRange;
    }
    const unsigned kinds = request[2] & kindBits;
    const bool enables = type == ControlType::enableRxAndTx;
    silenced = static_cast<std::uint8_t>(enables ? silenced & ~kinds : silenced | kinds);
    return positiveResponse(Uds::Service::CommunicationControl, {type});
}

ServiceReply NetworkControl::controlDtcSetting(const Uds::Bytes& request) {
    const auto type = request[1];
    if (type != SettingType::on && type != SettingType::off) {
        return Uds::Nrc::SubFunctionNotSupported;
    }
    if (request.size() != 2) {
        return Uds::Nrc::IncorrectMessageLengthOrInvalidFormat;
    }
    storing = type == SettingType::on;
    return positiveResponse(Uds::Service::ControlDtcSetting, {type});
}

} // namespace Quarlen::Simulation
