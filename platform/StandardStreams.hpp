#pragma once

namespace Quarlen::Platform {

/// Gives the process an empty standard input, output or error stream where it was started without
/// one. Otherwise the next file or connection that is opened would take the place of the stream and
/// receive the output. Call it before anything is opened.
void openMissingStandardStreams();

} // namespace Quarlen::Platform
