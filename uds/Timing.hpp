#pragma once

#include <chrono>

namespace Quarlen::Uds {

/// Client timing of ISO 14229-2:2021 (clause 7.2): P2 until the first answer, P2* after each
/// response pending.
struct Timing {
    std::chrono::milliseconds p2{1000};
    std::chrono::milliseconds p2Star{5000};
    /// Bounds one exchange, however often the control unit asks for more time.
    std::chrono::milliseconds total{600'000};
    /// For how long a request is repeated to a control unit that is busy (NRC 0x21).
    std::chrono::milliseconds busy{5000};
    /// What the way to the control unit and back adds to the times that it tells itself in the
    /// response to DiagnosticSessionControl (delta P2).
    std::chrono::milliseconds delta{500};
    /// How long a control unit keeps a session without a request (S3server).
    std::chrono::milliseconds session{5000};
};

} // namespace Quarlen::Uds
