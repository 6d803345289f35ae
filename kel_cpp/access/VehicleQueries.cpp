#include "kel_cpp/access/VehicleQueries.hpp"

#include <algorithm>

#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "kel_cpp/base/RuntimeError.hpp"
#include "platform/TextEncoding.hpp"
#include "uds/Client.hpp"
#include "uds/Identifiers.hpp"

namespace Quarlen::Kel_cpp {

using Uds::Client;

std::vector<bool> checkThatVehicleAnswers(const SelectedVehicle& vehicle) {
    std::vector<Uds::UnitAddress> addresses;
    for (const auto& unit : controlUnits(*vehicle.information)) {
        addresses.push_back(unit.unitAddress());
    }
    const std::vector<bool> answers = vehicle.access->connection().whoAnswers(
        addresses, {static_cast<std::uint8_t>(Uds::Service::TesterPresent), 0x00},
        vehicle.access->closing());
    if (std::find(answers.begin(), answers.end(), true) == answers.end()) {
        throw runtimeError(ErrorCode::Communication, L"no control unit of vehicle information " +
                                                         inQuotes(vehicle.information->name) +
                                                         L" answers over interface " +
                                                         inQuotes(vehicle.access->interfaceName()));
    }
    return answers;
}

std::wstring readVin(const SelectedVehicle& vehicle, const ProjectTarget& controlUnit) {
    try {
        auto link = vehicle.access->openLink(controlUnit.unitAddress());
        const auto data = Client(link, vehicle.access->closing()).readData(Uds::Did::vin);
        return Platform::fromUtf8(
            std::string(data.begin(), std::find(data.begin(), data.end(), std::uint8_t{0})));
    } catch (const Uds::ConnectionLost&) {
        throw;
    } catch (const Uds::LinkError&) {
        return {};
    } catch (const Uds::NegativeResponse&) {
        return {};
    }
}

std::wstring readVin(const SelectedVehicle& vehicle) {
    for (const auto& unit : controlUnits(*vehicle.information)) {
        if (std::wstring vin = readVin(vehicle, unit); !vin.empty()) {
            return vin;
        }
    }
    return {};
}

Uds::VehicleLink unlockControlUnit(VehicleAccess& access, const UnlockRequest& request) {
    using namespace Uds;
    const VehicleAccess::Turn turn = access.takeTurn(access.closing());
    auto link = access.openLink(request.unit);
    Client client(link, access.closing());
    client.request({static_cast<std::uint8_t>(Service::DiagnosticSessionControl),
                    static_cast<std::uint8_t>(Session::Extended)});
    client.unlock(request.level, request.keyMask);
    return link;
}

} // namespace Quarlen::Kel_cpp
