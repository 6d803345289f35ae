#pragma once

namespace Quarlen::Platform {

/// Lets all threads share one heap that gives large pieces back to the system as soon as they are
/// freed. Otherwise each of many threads that take turns keeps what its largest piece of work took.
/// To be called before there is a second thread.
void shareOneHeap() noexcept;

} // namespace Quarlen::Platform
