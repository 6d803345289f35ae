#pragma once

namespace Quarlen::Platform {

/// Lets all threads share one heap that gives large blocks back to the system as soon as they are
/// freed. Otherwise each of many threads that take turns keeps the memory of its largest piece of
/// work. Call it before a second thread exists.
void shareOneHeap() noexcept;

} // namespace Quarlen::Platform
