#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "kel_server_lib/runtime/JobRecords.hpp"

namespace Quarlen::Kel_cpp {

/// The built-in runtime's flash result: more exact than the percentage.
struct ControlUnitFlashResult : FlashResult {
    std::wstring controlUnit;
    /// Of the session's file.
    std::uint64_t bytesDone = 0;
    std::uint64_t bytesTotal = 0;
    /// Of the steps that the project gives, from 1; 0 before the first, in a session and where the
    /// project gives none. A step that fails belongs to no session.
    std::size_t step = 0;
    bool cancelled = false;
};

} // namespace Quarlen::Kel_cpp
