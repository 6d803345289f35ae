#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kel_server_lib/runtime/Record.hpp"

namespace Quarlen::Kel_cpp {

/// One package for `installUpdatePackages`. The caller sets `packagePath`; the runtime fills the
/// rest.
struct UpdatePackageInfo : Record {
    std::wstring packagePath;
    std::wstring name;
    std::wstring version;
    std::wstring stagedPath;
    /// In bytes.
    std::uint64_t size = 0;
    std::wstring state;
    std::wstring message;
};

/// What `prepareUpdatePackages` found in one container.
struct UpdateDescription : Record {
    std::wstring packagePath;
    /// Names of the entries in the container, in its order.
    std::vector<std::wstring> entries;
    /// Empty for a container that could be read; otherwise its name and why it could not.
    std::wstring message;
};

} // namespace Quarlen::Kel_cpp
