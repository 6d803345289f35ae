#pragma once

namespace Quarlen::Platform {

/// Lets the process have as many file descriptors as its user may, up to 8192. What a session gives
/// by default (1024 on Linux) is less than a server with its clients needs.
void raiseDescriptorLimit() noexcept;

} // namespace Quarlen::Platform
