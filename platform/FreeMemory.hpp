#pragma once

namespace Quarlen::Platform {

/// Gives memory that the process has freed back to the system, which the allocator may keep for
/// later otherwise. For the end of something large.
void releaseFreeMemory() noexcept;

} // namespace Quarlen::Platform
