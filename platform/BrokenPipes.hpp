#pragma once

namespace Quarlen::Platform {

/// Afterwards a reader of standard output, or of a socket, that goes away is a failed write and
/// does not end the process.
void surviveBrokenPipes();

} // namespace Quarlen::Platform
