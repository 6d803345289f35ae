#pragma once

#include <initializer_list>

#include "uds/Uds.hpp"

/// The messages of a reprogramming that several of its steps put together and judge.
namespace Quarlen::Kel_cpp {

[[nodiscard]] Uds::Bytes serviceRequest(Uds::Service service,
                                        std::initializer_list<std::uint8_t> parameters = {});

/// RoutineControl, startRoutine.
[[nodiscard]] Uds::Bytes routineRequest(std::uint16_t routine);

/// Whether a routine must report its outcome in a status byte, or a positive response is enough.
enum class StatusByte { Optional, Required };

/// True when the status byte of a routine's response is 0. Throws `FlashError` for a response that
/// lacks a required status byte.
[[nodiscard]] bool routineSucceeded(const Uds::Bytes& response, StatusByte status);

} // namespace Quarlen::Kel_cpp
