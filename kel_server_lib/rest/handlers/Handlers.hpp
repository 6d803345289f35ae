#pragma once

#include <functional>
#include <memory>

#include "kel_server_lib/rest/PathParameters.hpp"

namespace httplib {
struct Request;
struct Response;
} // namespace httplib

namespace Quarlen {
class ServerHandlerSequence;
} // namespace Quarlen

/// One function per route, called concurrently by the HTTP worker threads. They reach the runtime
/// through the process-wide facade reference, add no lock of their own and roll nothing back.
/// Except where noted a `KelApiException` becomes the error reply; exceptions of the JSON layer
/// pass.
namespace Quarlen::Rest {

/// What a handler may need beside the facade.
struct HandlerContext {
    /// Raises the application's stop flag.
    std::function<void()> requestStop;
    std::shared_ptr<ServerHandlerSequence> sequenceHandler;
};

/// Where the server keeps its files. Catches nothing.
void getConfigurations(const httplib::Request& request, httplib::Response& response,
                       const PathParameters& parameters);
void getVersion(const httplib::Request& request, httplib::Response& response,
                const PathParameters& parameters);
/// Answers also while the runtime is busy or failed: it touches nothing.
void getHealth(const httplib::Request& request, httplib::Response& response,
               const PathParameters& parameters);
/// The reply is complete before the flag is raised, so that the client normally gets it.
void putStop(const HandlerContext& context, httplib::Response& response);

void getTracing(const httplib::Request& request, httplib::Response& response,
                const PathParameters& parameters);
void putTracing(const httplib::Request& request, httplib::Response& response,
                const PathParameters& parameters);
void getSimulation(const httplib::Request& request, httplib::Response& response,
                   const PathParameters& parameters);
void putSimulation(const httplib::Request& request, httplib::Response& response,
                   const PathParameters& parameters);

/// Drives the runtime through a whole selection cycle; leaves no project selected.
void getProjectOtx(const httplib::Request& request, httplib::Response& response,
                   const PathParameters& parameters);

/// Joins the names to the update folder as they are; the runtime is the one that refuses.
void putUpdate(const httplib::Request& request, httplib::Response& response,
               const PathParameters& parameters);

void putScript(const HandlerContext& context, const httplib::Request& request,
               httplib::Response& response, const PathParameters& parameters);
void putSequenceAbort(const HandlerContext& context, httplib::Response& response);

} // namespace Quarlen::Rest
