#pragma once

#include "kel_server_lib/rest/handlers/Call.hpp"

/// One function per route, called concurrently by the HTTP worker threads. They reach the runtime
/// through the process-wide facade reference, add no lock of their own and roll nothing back.
/// Except where noted a `KelApiException` becomes the error reply; exceptions of the JSON layer
/// pass.
namespace Quarlen::Rest {

/// Where the server keeps its files. Catches nothing.
void getConfigurations(const Call& call);
void getVersion(const Call& call);
/// Answers also while the runtime is busy or failed, because it does not use the runtime.
void getHealth(const Call& call);
/// The reply is complete before the flag is raised, so that the client normally gets it.
void putStop(const Call& call);

void getTracing(const Call& call);
void putTracing(const Call& call);
void getSimulation(const Call& call);
void putSimulation(const Call& call);

/// Drives the runtime through a whole selection cycle; leaves no project selected.
void getProjectOtx(const Call& call);

/// Joins the names to the update folder unchecked; the runtime refuses bad ones.
void putUpdate(const Call& call);

void putScript(const Call& call);
void putSequenceAbort(const Call& call);

} // namespace Quarlen::Rest
