#pragma once

namespace Quarlen::Platform {

/// Gives memory that the process has freed back to the system; the allocator would otherwise keep
/// it for later. For use at the end of a large piece of work.
void releaseFreeMemory() noexcept;

} // namespace Quarlen::Platform
