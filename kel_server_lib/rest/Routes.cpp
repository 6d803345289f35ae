#include "kel_server_lib/rest/Routes.hpp"

namespace Quarlen::Rest {

namespace {

/// A handler that needs the context and nothing of the request.
Handler command(void (*handler)(const HandlerContext&, httplib::Response&),
                const HandlerContext& context) {
    return [handler, context](const httplib::Request&, httplib::Response& response,
                              const PathParameters&) { handler(context, response); };
}

Handler scripts(const HandlerContext& context) {
    return [context](const httplib::Request& request, httplib::Response& response,
                     const PathParameters& parameters) {
        putScript(context, request, response, parameters);
    };
}

} // namespace

void addRoutes(FunctionMap& routes, const HandlerContext& context) {
    routes.add("get/configurations", getConfigurations);
    routes.add("get/tracing", getTracing);
    routes.add("put/tracing", putTracing);
    routes.add("get/projects/VAR_PROJECTNAME/otx", getProjectOtx);
    routes.add("put/stop", command(putStop, context));
    routes.add("get/version", getVersion);
    routes.add("get/health", getHealth);
    routes.add("put/update", putUpdate);
    routes.add("get/simulation", getSimulation);
    routes.add("put/simulation", putSimulation);
    routes.add("put/scripts/VAR_BUTTON", scripts(context));
    routes.add("put/sequence/abort", command(putSequenceAbort, context));
}

} // namespace Quarlen::Rest
