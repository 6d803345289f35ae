#pragma once

namespace Quarlen {

/// Source name of every trace of the sequence engine.
inline constexpr const wchar_t* sequenceTraceSource = L"kel_server_lib/ServerHandlerSequence";

} // namespace Quarlen
