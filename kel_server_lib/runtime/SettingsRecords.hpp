#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "kel_server_lib/runtime/HardwareType.hpp"
#include "kel_server_lib/runtime/Record.hpp"

namespace Quarlen::Kel_cpp {

/// One configured address: an IPv4 address, an adapter name, a host text with placeholders or a
/// URL beginning with "http://" or "https://" (then the port is not used).
struct ServerAddress : Record {
    static constexpr std::int32_t defaultPort = 58000;

    std::wstring address;
    std::int32_t port = defaultPort;
};

/// What the server needs to know before it starts. An empty sequence name means "none".
struct ServerConfiguration : Record {
    RecordList<ServerAddress> serverAddresses;
    std::wstring startSequence;
    std::wstring f1Sequence;
    std::wstring f2Sequence;
};

struct ServerSettings : Record {
    std::wstring brokerUrl;
    std::wstring brokerUrlFile;
    bool optionTracing = false;
    bool optionOtxListing = false;
};

/// Folders are absolute paths in the platform's own spelling.
struct PathSettings : Record {
    std::wstring projectsPath;
    std::wstring tracesPath;
    std::wstring reportsPath;
    bool tracing = false;
    bool tracingSecondary = false;
};

struct InterfaceEntry : Record {
    /// Name and value, in the order of the file.
    using Parameter = std::pair<std::wstring, std::wstring>;

    std::wstring name;
    bool enabled = false;
    /// What the interface needs to know, for example an address.
    std::vector<Parameter> parameters;
};

struct InterfaceGroup : Record {
    std::wstring name;
    RecordList<InterfaceEntry> interfaces;
};

struct InterfaceSettings : Record {
    RecordList<InterfaceGroup> groups;
};

struct DeviceInfo : Record {
    std::wstring cosVersion;
    HardwareType hardwareType = HardwareType::Unknown;
};

struct ComponentVersion : Record {
    /// `kind` of the D-PDU API (ISO 22900-2) component.
    static constexpr std::int32_t dpduApiKind = 1;

    std::wstring version;
    std::int32_t kind = 0;
};

/// A connection of the runtime: a client of its server or an open vehicle access. The program only
/// asks whether any exists.
struct ActiveConnection : Record {
    std::wstring description;
};

} // namespace Quarlen::Kel_cpp
