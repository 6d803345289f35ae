#pragma once

namespace Quarlen {

/// Source name of every trace of the sequence engine. External tools know it, so it stands without
/// the folder sequence/.
inline constexpr const wchar_t* sequenceTraceSource = L"kel_server_lib/ServerHandlerSequence";

} // namespace Quarlen
