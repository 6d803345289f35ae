#pragma once

namespace Quarlen::Platform {

/// Afterwards a write to a standard output or socket whose reader has gone fails, and does not end
/// the process.
void surviveBrokenPipes();

} // namespace Quarlen::Platform
