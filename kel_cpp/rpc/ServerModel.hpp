#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Quarlen::Kel_cpp {

struct ReportFile {
    std::wstring name;
    std::uint64_t bytes = 0;
    std::chrono::system_clock::time_point time;
};

/// What is selected; empty texts for nothing.
struct VehicleState {
    std::wstring project;
    std::wstring vehicleInformation;
    /// The interface over which the vehicle is connected.
    std::wstring interfaceName;
};

/// What the methods of the server's clients need of the runtime. The functions run on threads of
/// the server; each may throw `KelApiException`.
struct ServerModel {
    std::function<std::wstring()> version;
    /// The scripts that a client can start, by name.
    std::function<std::vector<std::wstring>()> scripts;
    /// Calls the server handler and returns when it has returned, with what it said in `handled`.
    /// `client` names who asks.
    std::function<bool(const std::wstring& name, const std::wstring& client)> startSequence;
    std::function<bool(const std::wstring& client)> cancelSequence;
    std::function<std::vector<std::wstring>()> projects;
    std::function<std::vector<std::wstring>()> connections;
    std::function<VehicleState()> vehicle;
    std::function<std::vector<ReportFile>()> reports;
    /// The content of a report; throws for a name that `reports` does not list.
    std::function<std::string(const std::wstring& name)> report;
};

} // namespace Quarlen::Kel_cpp
