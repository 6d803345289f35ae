#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "kel_cpp/Runtime.hpp"
#include "kel_cpp/access/VehicleQueries.hpp"
#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "kel_cpp/base/InterfaceParameters.hpp"
#include "kel_cpp/base/RuntimeError.hpp"
#include "kel_cpp/bus/BusCapture.hpp"
#include "kel_cpp/bus/BusTrace.hpp"
#include "kel_cpp/history/RunGuards.hpp"
#include "platform/TextEncoding.hpp"
#include "std_util/TraceHelper.hpp"

namespace Quarlen::Kel_cpp {

namespace {

/// Null when the file cannot be written: the work goes on without it.
std::shared_ptr<BusCapture> openCapture(const std::filesystem::path& folder) {
    try {
        return std::make_shared<BusCapture>(folder);
    } catch (const std::system_error&) {
        StdUtil::TraceHelper::ErrorTrace(
            L"kel_cpp/Runtime", __LINE__, L"the bus is not captured, the file in %s: %s",
            inQuotes(Platform::fromPath(folder)).c_str(), currentExceptionText().c_str());
        return nullptr;
    }
}

/// Who cancels or aborts asks for the active connections first, so one that is being opened counts
/// as one.
class Announced {
public:
    Announced(std::mutex& mutex, std::wstring& place, std::wstring text)
        : mutex(mutex), place(place) {
        const std::lock_guard lock(mutex);
        place = std::move(text);
    }
    Announced(const Announced&) = delete;
    Announced& operator=(const Announced&) = delete;
    ~Announced() {
        const std::lock_guard lock(mutex);
        place.clear();
    }

private:
    std::mutex& mutex;
    std::wstring& place;
};

[[noreturn]] void failUnlock(const std::wstring& name, const std::wstring& parameter,
                             const std::wstring& cause) {
    throw runtimeError(ErrorCode::Unlock, L"unlock " + inQuotes(name) + L" with parameter " +
                                              inQuotes(parameter) + L" failed: " + cause);
}

/// The one parameter that an unlock takes.
std::wstring unlockParameter(const std::wstring& name,
                             const std::vector<std::wstring>& parameters) {
    if (parameters.size() != 1) {
        failUnlock(name, L"",
                   L"one parameter is needed, not " + std::to_wstring(parameters.size()));
    }
    return parameters.front();
}

UnlockRequest unlockRequest(const Project& project, const std::wstring& name,
                            const std::wstring& parameter) {
    const UnlockProcedure* const unlock = project.findUnlock(name);
    if (unlock == nullptr) {
        failUnlock(name, parameter, L"project " + inQuotes(project.name) + L" has no such unlock");
    }
    const auto found = std::find_if(unlock->parameters.begin(), unlock->parameters.end(),
                                    [&](const auto& entry) { return entry.name == parameter; });
    if (found == unlock->parameters.end()) {
        failUnlock(name, parameter, L"the unlock has no such parameter");
    }
    return {project.addressOf(unlock->link), found->level, found->keyMask};
}

void identify(const SelectedVehicle& vehicle, RecordList<IdentifiedTarget>& targets,
              std::shared_ptr<VehicleIdentification>& identification) {
    const std::vector<bool> answers = checkThatVehicleAnswers(vehicle);
    const std::vector<ProjectTarget> units = controlUnits(*vehicle.information);
    RecordList<IdentifiedTarget> found;
    auto outcome = std::make_shared<VehicleIdentification>();
    for (std::size_t index = 0; index < units.size(); ++index) {
        auto target = std::make_shared<IdentifiedTarget>();
        target->name = units[index].name;
        target->reachable = answers[index];
        if (target->reachable && outcome->vin.empty()) {
            outcome->vin = readVin(vehicle, units[index]);
        }
        found.push_back(std::move(target));
    }
    targets = std::move(found);
    identification = std::move(outcome);
}

} // namespace

Runtime::OpenedVehicle Runtime::openVehicle() {
    const std::lock_guard lock(opening);
    SelectedVehicle vehicle = selection.withInformation();
    const RuntimeSettings inEffect = settings.inEffect();
    const bool isUsable = vehicle.access && vehicle.access->isOpen() &&
                          VehicleInterfaces::isUsed(openedOver, inEffect.interfaces);
    // Whether or not the vehicle that is meant now can be had: nobody may go on with another one
    // unknowingly, and one that new parameters lead to again would still have this tester.
    if (vehicle.access && !isUsable) {
        selection.detach(vehicle.access);
    }
    const InterfaceEntry enabled = VehicleInterfaces::enabled(inEffect.interfaces);
    if (!environment.replacesInterfaces) {
        VehicleInterfaces::checkTargets(*vehicle.information, enabled.name);
    }
    if (isUsable) {
        return {std::move(vehicle), false};
    }
    vehicle.access = openAccess(vehicle, enabled.name, inEffect);
    selection.attach(vehicle, vehicle.access);
    openedOver = enabled;
    return {std::move(vehicle), true};
}

std::shared_ptr<VehicleAccess> Runtime::openAccess(const SelectedVehicle& vehicle,
                                                   const std::wstring& interfaceName,
                                                   const RuntimeSettings& inEffect) {
    const Announced announced(mutex, underWay, connectionText(vehicle, interfaceName));
    try {
        return std::make_shared<VehicleAccess>(
            interfaceName,
            interfaces.make(environment.replacesInterfaces ? simulationName : interfaceName,
                            inEffect.interfaces, inEffect.vehicleFile),
            environment.clock,
            AccessOptions{environment.testerPresentInterval,
                          VehicleInterfaces::timing(inEffect.interfaces), busListener(inEffect)},
            vehicle.changed);
    } catch (const Uds::Cancelled&) {
        throw runtimeError(ErrorCode::NotConnected, L"connecting to the vehicle of project " +
                                                        inQuotes(vehicle.project->name) +
                                                        L" was cancelled");
    }
}

void Runtime::keepSessions() {
    if (const SelectedVehicle vehicle = selection.current(); vehicle.access) {
        vehicle.access->connection().keepSessions();
    }
}

void Runtime::connectVehicle() {
    guarded(L"connectVehicle", [&] {
        const OpenedVehicle opened = openVehicle();
        try {
            static_cast<void>(checkThatVehicleAnswers(opened.vehicle));
        } catch (...) {
            giveUp(opened);
            throw;
        }
    });
}

/// Traces what goes to and comes from the vehicle, and writes it into a file where the settings ask
/// for it, as long as the access lives.
Uds::OnBusEvent Runtime::busListener(const RuntimeSettings& inEffect) const {
    std::shared_ptr<BusCapture> capture;
    if (inEffect.capturesBus && inEffect.paths.tracing) {
        capture = openCapture(Platform::toPath(inEffect.paths.tracesPath));
    }
    return [capture, further = environment.onBusEvent](const Uds::BusEvent& event) {
        traceBus(event);
        if (capture) {
            capture->take(event);
        }
        if (further) {
            further(event);
        }
    };
}

/// Another caller may use an access that was already open, so only a new one is closed.
void Runtime::giveUp(const OpenedVehicle& opened) {
    if (opened.isNew) {
        selection.detach(opened.vehicle.access);
    }
}

void Runtime::identifyVehicle(RecordList<IdentifiedTarget>& targets, std::uint32_t /*flags*/,
                              std::shared_ptr<VehicleIdentification>& identification) {
    guarded(L"identifyVehicle", [&] {
        const OpenedVehicle opened = openVehicle();
        try {
            identify(opened.vehicle, targets, identification);
        } catch (...) {
            giveUp(opened);
            throw;
        }
    });
}

std::shared_ptr<UnlockSession>
Runtime::openUnlockSession(const std::wstring& name, const std::vector<std::wstring>& parameters) {
    return guarded(L"openUnlockSession", [&] {
        const RunLog::Call call(*runs);
        const std::wstring parameter = unlockParameter(name, parameters);
        try {
            const SelectedVehicle vehicle = selection.withAccess();
            const UnlockRequest request = unlockRequest(*vehicle.project, name, parameter);
            auto session = std::make_shared<UnlockSession>();
            session->handle = newHandle();
            vehicle.access->holdUnlock(session->handle,
                                       unlockControlUnit(*vehicle.access, request));
            return session;
        } catch (const KelApiException& exception) {
            if (exception.code() == static_cast<std::int32_t>(ErrorCode::Unlock)) {
                throw;
            }
            failUnlock(name, parameter, exception.message());
        } catch (...) {
            failUnlock(name, parameter, currentExceptionText());
        }
    });
}

void Runtime::releaseJob(std::uint64_t handle) {
    guarded(L"releaseJob", [&] {
        const RunLog::Call call(*runs);
        if (const SelectedVehicle vehicle = selection.current(); vehicle.access) {
            vehicle.access->releaseUnlock(handle);
        }
    });
}

} // namespace Quarlen::Kel_cpp
