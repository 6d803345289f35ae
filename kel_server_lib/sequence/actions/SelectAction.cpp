#include "kel_server_lib/sequence/actions/SelectAction.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stop_token>
#include <thread>

#include "kel_server_lib/sequence/actions/ActionFrame.hpp"
#include "kel_server_lib/sequence/actions/AutoSelect.hpp"
#include "kel_server_lib/sequence/actions/SequenceTrace.hpp"
#include "platform/TextEncoding.hpp"
#include "std_util/TraceHelper.hpp"

namespace Quarlen {

namespace {

constexpr std::size_t manufacturerLength = 3;
constexpr std::size_t shortestVin = 6;
/// ReadDataByIdentifier (ISO 14229-1, 11.2) and the data identifier VIN (annex C.1).
constexpr std::uint8_t readDataByIdentifier = 0x22;
constexpr std::uint16_t vinIdentifier = 0xF190;
/// Service identifier and data identifier of a positive response.
constexpr std::size_t responseHeaderLength = 3;

/// Whoever stops the run waits for its end, so the stop itself has to end a connect that waits.
void deselect(Kel_cpp::KelApi& api) noexcept {
    try {
        api.selectProject(L"");
    } catch (...) {
        return; // the connect then ends by itself
    }
}

/// False when the run was stopped before.
bool openVehicle(RunState& state, Kel_cpp::KelApi& api, bool autoConnect) {
    const auto connecting = std::this_thread::get_id();
    const std::stop_callback onStop(state.nextStop(), [&] {
        if (std::this_thread::get_id() != connecting) {
            deselect(api);
        }
    });
    if (state.stopRaised()) {
        return false;
    }
    if (autoConnect) {
        api.connectVehicle();
        return true;
    }
    Kel_cpp::RecordList<Kel_cpp::IdentifiedTarget> targets;
    std::shared_ptr<Kel_cpp::VehicleIdentification> identification;
    api.identifyVehicle(targets, 0, identification);
    return true;
}

Kel_cpp::RecordList<Kel_cpp::ServiceResult> requestVin(Kel_cpp::KelApi& api) {
    const auto input = std::make_shared<Kel_cpp::ServiceInput>();
    input->serviceName = L"HexService";
    input->requestBytes = {readDataByIdentifier, vinIdentifier >> 8U, vinIdentifier & 0xFFU};
    Kel_cpp::RecordList<Kel_cpp::ServiceResult> results;
    api.executeServiceSync(results, AutoSelect::vinLink, {input});
    return results;
}

std::string vinOf(const Kel_cpp::RecordList<Kel_cpp::ServiceResult>& results) {
    if (results.size() != 1 || results.front()->error != 0 ||
        results.front()->responses.size() != 1) {
        return {};
    }
    const auto& data = results.front()->responses.front()->data;
    if (data.size() <= responseHeaderLength) {
        return {};
    }
    const auto begin = data.begin() + responseHeaderLength;
    return {begin, std::find(begin, data.end(), std::uint8_t{0})};
}

/// A vehicle that gives no number is not traced as a failure.
void traceNoMatch(const std::wstring& vin) {
    if (!vin.empty()) {
        StdUtil::TraceHelper::ErrorTrace(sequenceTraceSource, __LINE__,
                                         L"no project matches the VIN %s", vin.c_str());
    }
}

/// The steps end early where a stop is raised.
void selectProjectAndVehicle(RunState& state, Kel_cpp::KelApi& api, const std::wstring& name,
                             const std::wstring& vehicleInformation, bool autoConnect) {
    if (state.stopRaised()) {
        return;
    }
    api.setServerStatus(L"Selecting project " + name);
    api.selectProject(name);
    if (name.empty() || state.stopRaised()) {
        return;
    }
    api.setServerStatus(L"Project " + name + L" selected.");
    api.selectVehicleInformation(vehicleInformation);
    if (!state.stopRaised()) {
        static_cast<void>(openVehicle(state, api, autoConnect));
    }
}

} // namespace

bool runSelectAction(RunState& state, RunState::Api api, const std::wstring& project,
                     const std::wstring& vehicleInformation, bool autoConnect) {
    return runInActionFrame(state, *api, L"runSelectAction", [&] {
        if (state.stopRaised()) {
            return;
        }
        const std::wstring name =
            project == AutoSelect::project ? autoSelectProject(state, api, autoConnect) : project;
        selectProjectAndVehicle(state, *api, name, vehicleInformation, autoConnect);
    });
}

std::wstring autoSelectProject(RunState& state, const RunState::Api& api, bool autoConnect) {
    const std::wstring vin = Platform::fromUtf8(readVin(state, api, autoConnect));
    if (vin.size() < shortestVin) {
        traceNoMatch(vin);
        return {};
    }
    const std::wstring key = vin.substr(manufacturerLength);
    Kel_cpp::RecordList<Kel_cpp::ProjectEntry> projects;
    api->getProjects(projects);
    const auto match = std::find_if(projects.begin(), projects.end(), [&key](const auto& project) {
        return project->name.find(key) != std::wstring::npos;
    });
    if (match == projects.end()) {
        traceNoMatch(vin);
        return {};
    }
    return (*match)->name;
}

std::string readVin(RunState& state, const RunState::Api& api, bool autoConnect) {
    std::string vin;
    api->selectProject(AutoSelect::vinReader);
    api->selectVehicleInformation(AutoSelect::vinInformation);
    if (!state.stopRaised() && openVehicle(state, *api, autoConnect)) {
        vin = vinOf(requestVin(*api));
    }
    api->selectProject(L"");
    return vin;
}

} // namespace Quarlen
