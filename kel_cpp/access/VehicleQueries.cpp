#include "kel_cpp/access/VehicleQueries.hpp"

#include <algorithm>

#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "kel_cpp/base/RuntimeError.hpp"
#include "platform/TextEncoding.hpp"
#include "uds/Client.hpp"
#include "uds/Identifiers.hpp"

namespace Quarlen::Kel_cpp {

using Uds::Client;

bool answers(const SelectedVehicle& vehicle, const ProjectTarget& controlUnit,
             Platform::Clock& clock) {
    try {
        const auto link = vehicle.access->openLink(controlUnit.link);
        Client(*link, vehicle.access->closing(), clock)
            .exchange({static_cast<std::uint8_t>(Uds::Service::TesterPresent), 0x00});
        return true;
    } catch (const Uds::LinkError&) {
        return false;
    }
}

void checkThatVehicleAnswers(const SelectedVehicle& vehicle, Platform::Clock& clock) {
    const auto units = controlUnits(*vehicle.information);
    const bool anyAnswers = std::any_of(units.begin(), units.end(), [&](const auto& unit) {
        return answers(vehicle, unit, clock);
    });
    if (!anyAnswers) {
        throw runtimeError(ErrorCode::Communication, L"no control unit of vehicle information " +
                                                         inQuotes(vehicle.information->name) +
                                                         L" answers over interface " +
                                                         inQuotes(vehicle.access->interfaceName()));
    }
}

std::wstring readVin(const SelectedVehicle& vehicle, const ProjectTarget& controlUnit,
                     Platform::Clock& clock) {
    try {
        const auto link = vehicle.access->openLink(controlUnit.link);
        const auto data = Client(*link, vehicle.access->closing(), clock).readData(Uds::Did::vin);
        return Platform::fromUtf8(
            std::string(data.begin(), std::find(data.begin(), data.end(), std::uint8_t{0})));
    } catch (const Uds::LinkError&) {
        return {};
    } catch (const Uds::NegativeResponse&) {
        return {};
    }
}

std::wstring readVin(const SelectedVehicle& vehicle, Platform::Clock& clock) {
    for (const auto& unit : controlUnits(*vehicle.information)) {
        if (std::wstring vin = readVin(vehicle, unit, clock); !vin.empty()) {
            return vin;
        }
    }
    return {};
}

std::unique_ptr<Uds::VehicleLink>
unlockControlUnit(VehicleAccess& access, const UnlockRequest& request, Platform::Clock& clock) {
    using namespace Uds;
    const VehicleAccess::Turn turn = access.takeTurn(access.closing());
    auto link = access.openLink(request.logicalLink);
    Client client(*link, access.closing(), clock);
    client.request({static_cast<std::uint8_t>(Service::DiagnosticSessionControl),
                    static_cast<std::uint8_t>(Session::Extended)});
    client.unlock(request.level, request.keyMask);
    return link;
}

} // namespace Quarlen::Kel_cpp
