#pragma once

#include <functional>
#include <memory>

#include <picojson.h>

#include "kel_server_lib/rest/handlers/PathParameters.hpp"

namespace httplib {
struct Request;
struct Response;
} // namespace httplib

namespace Quarlen {
class ServerHandlerSequence;
} // namespace Quarlen

namespace Quarlen::Rest {

/// What a handler may need beside the facade.
struct HandlerContext {
    /// Raises the application's stop flag.
    std::function<void()> requestStop;
    std::shared_ptr<ServerHandlerSequence> sequenceHandler;
};

/// One request on its way through its handler; nothing in it outlives the handler's call.
struct Call {
    const httplib::Request& request;
    httplib::Response& response;
    const PathParameters& parameters;
    const HandlerContext& context;
};

/// Fills the response. Throws an `httplib::StatusCode` to answer with an error status and an empty
/// body.
using Handler = std::function<void(const Call&)>;

/// The request's body as JSON. Throws `httplib::StatusCode` 400 when it does not parse, and what
/// `parseBody` throws.
[[nodiscard]] picojson::value bodyOf(const Call& call);

} // namespace Quarlen::Rest
