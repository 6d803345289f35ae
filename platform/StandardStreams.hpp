#pragma once

namespace Quarlen::Platform {

/// Gives the process an empty standard input, output or error stream where it was started without
/// one. Otherwise the next file or connection that is opened would take its place and get what is
/// printed. To be called before anything is opened.
void openMissingStandardStreams();

} // namespace Quarlen::Platform
