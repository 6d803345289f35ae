#pragma once

#include <cstdint>

namespace Quarlen::Kel_cpp {

/// Kind of device the runtime runs on. The gaps between the values are the runtime's.
enum class HardwareType : std::int32_t {
    Unknown = 0,
    Ostrel2000 = 1,
    Zra = 10,
    Raspberry = 100,
    Linux = 256,
    Windows = 257,
    Ios = 258,
    Android = 259,
};

} // namespace Quarlen::Kel_cpp
