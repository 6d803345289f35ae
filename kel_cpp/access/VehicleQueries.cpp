#include "kel_cpp/access/VehicleQueries.hpp"

#include <algorithm>
#include <cstddef>

#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "kel_cpp/base/RuntimeError.hpp"
#include "platform/TextEncoding.hpp"
#include "std_util/TraceHelper.hpp"
#include "uds/Client.hpp"
#include "uds/Identifiers.hpp"

namespace Quarlen::Kel_cpp {

using Uds::Client;

namespace {

/// All at the same time: the silent ones take the time of one.
std::vector<bool> whoAnswers(const SelectedVehicle& vehicle,
                             const std::vector<ProjectTarget>& units) {
    std::vector<Uds::UnitAddress> addresses;
    addresses.reserve(units.size());
    for (const auto& unit : units) {
        addresses.push_back(unit.unitAddress());
    }
    return vehicle.access->connection().whoAnswers(
        addresses, {static_cast<std::uint8_t>(Uds::Service::TesterPresent), 0x00},
        vehicle.access->closing());
}

} // namespace

std::vector<bool> checkThatVehicleAnswers(const SelectedVehicle& vehicle) {
    std::vector<bool> answers = whoAnswers(vehicle, controlUnits(*vehicle.information));
    StdUtil::TraceHelper::InfoTrace(
        L"kel_cpp/access/VehicleQueries", __LINE__, L"%td of %zu control units answer",
        std::count(answers.begin(), answers.end(), true), answers.size());
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
    const std::vector<ProjectTarget> units = controlUnits(*vehicle.information);
    const std::vector<bool> answers = whoAnswers(vehicle, units);
    std::wstring vin;
    for (std::size_t index = 0; index < units.size() && vin.empty(); ++index) {
        vin = answers[index] ? readVin(vehicle, units[index]) : std::wstring();
    }
    return vin;
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
