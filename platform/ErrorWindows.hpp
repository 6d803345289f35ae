#pragma once

namespace Quarlen::Platform {

/// Afterwards no failure of the process, neither a crash nor an abort, a missing medium or library,
/// opens a window, which would wait for somebody who is not there. Programs that are started
/// inherit that.
void openNoErrorWindows();

} // namespace Quarlen::Platform
