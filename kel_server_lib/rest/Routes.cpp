#include "kel_server_lib/rest/Routes.hpp"

#include "kel_server_lib/rest/handlers/Handlers.hpp"

namespace Quarlen::Rest {

void addRoutes(FunctionMap& routes) {
    routes.add("get/configurations", getConfigurations);
    routes.add("get/tracing", getTracing);
    routes.add("put/tracing", putTracing);
    routes.add("get/projects/VAR_PROJECTNAME/otx", getProjectOtx);
    routes.add("put/stop", putStop);
    routes.add("get/version", getVersion);
    routes.add("get/health", getHealth);
    routes.add("put/update", putUpdate);
    routes.add("get/simulation", getSimulation);
    routes.add("put/simulation", putSimulation);
    routes.add("put/scripts/VAR_BUTTON", putScript);
    routes.add("put/sequence/abort", putSequenceAbort);
}

} // namespace Quarlen::Rest
