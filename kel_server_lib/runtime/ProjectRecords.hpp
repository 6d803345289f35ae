#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kel_server_lib/runtime/Record.hpp"

namespace Quarlen::Kel_cpp {

struct ProjectEntry : Record {
    std::wstring name;
};

struct ProjectDetails : Record {
    /// Names in the project's own order.
    std::vector<std::wstring> vehicleInformations;
};

/// An object of the selected project, for example an OTX procedure (kind text "#OTX").
struct ProjectObject : Record {
    std::wstring name;
};

struct TargetEntry : Record {
    /// `kind` of a control unit; other kinds (groups, gateways' virtual targets) differ.
    static constexpr std::int32_t controlUnitKind = 1;

    std::int32_t kind = 0;
    std::wstring name;
};

struct TargetFilter : Record {
    std::wstring name;
    bool enabled = true;
};

/// What `identifyVehicle` found out about one control unit.
struct IdentifiedTarget : Record {
    std::wstring name;
    bool reachable = false;
};

/// Outcome of `identifyVehicle` as a whole.
struct VehicleIdentification : Record {
    std::wstring vin;
};

struct DataFile : Record {
    std::wstring path;
    /// False for a file that is listed but does not exist.
    bool present = false;
};

struct DataFolder : Record {
    std::wstring name;
    RecordList<DataFile> files;
};

} // namespace Quarlen::Kel_cpp
