#include <stdexcept>

#include <httplib.h>

#include "tests/kel_server_lib/rest/handlers/HandlerFixture.hpp"

namespace Quarlen::Tests {

namespace {

struct Step {
    const char* route;
    const char* body;
    const char* call;
};

/// A handler catches the runtime's own exception and no other one, in none of its steps.
class HandlerStep : public HandlerFixture, public testing::WithParamInterface<Step> {
protected:
    HandlerStep() {
        api->selectedProjectName = L"Former";
        api->projectDetails->vehicleInformations = {L"A"};
    }
};

TEST_P(HandlerStep, LetsAnyOtherExceptionPass) {
    api->during(GetParam().call, [] { throw std::runtime_error("of another kind"); });

    EXPECT_EQ(exceptionOf(GetParam().route, GetParam().body), "of another kind");
}

TEST_P(HandlerStep, LetsAThrownStatusPass) {
    api->during(GetParam().call, [] { throw httplib::StatusCode{httplib::StatusCode::Gone_410}; });

    httplib::Response response;
    EXPECT_THROW(handle(GetParam().route, GetParam().body, response), httplib::StatusCode);
}

INSTANTIATE_TEST_SUITE_P(Status, HandlerStep,
                         testing::Values(Step{"get/configurations", "", "getProjectPath"},
                                         Step{"get/version", "", "getServerVersion"},
                                         Step{"get/version", "", "getComponentVersions"},
                                         Step{"get/version", "", "getDeviceInfo"}));
INSTANTIATE_TEST_SUITE_P(Projects, HandlerStep,
                         testing::Values(Step{"get/projects/P/otx", "", "getServerSettings"},
                                         Step{"get/projects/P/otx", "", "setServerSettings"},
                                         Step{"get/projects/P/otx", "", "getSelectedProjectName"},
                                         Step{"get/projects/P/otx", "", "beginProjectSelection"},
                                         Step{"get/projects/P/otx", "", "selectProject(P)"},
                                         Step{"get/projects/P/otx", "", "getProjectDetails"},
                                         Step{"get/projects/P/otx", "", "selectVehicleInformation"},
                                         Step{"get/projects/P/otx", "", "getProjectObjects"}));
INSTANTIATE_TEST_SUITE_P(
    Tracing, HandlerStep,
    testing::Values(Step{"get/tracing", "", "getProjectPath"},
                    Step{"put/tracing", R"({"tracing":1})", "getServerSettings"},
                    Step{"put/tracing", R"({"tracing":1})", "setServerSettings"},
                    Step{"put/tracing", R"({"tracing":1})", "commitServerSettings"},
                    Step{"put/tracing", R"({"tracing":1})", "getProjectPath"},
                    Step{"put/tracing", R"({"tracing":1})", "setProjectPath"},
                    Step{"put/tracing", R"({"tracing":1})", "commitProjectPath"}));
INSTANTIATE_TEST_SUITE_P(
    Simulation, HandlerStep,
    testing::Values(Step{"get/simulation", "", "getInterfaceSettings"},
                    Step{"put/simulation", R"({"enable":1})", "getInterfaceSettings"},
                    Step{"put/simulation", R"({"enable":1})", "setInterfaceSettings"},
                    Step{"put/simulation", R"({"enable":1})", "applyInterfaceSettings"}));
INSTANTIATE_TEST_SUITE_P(Update, HandlerStep,
                         testing::Values(Step{"put/update", "[]", "installUpdatePackages"}));
INSTANTIATE_TEST_SUITE_P(
    Sequence, HandlerStep,
    testing::Values(Step{"put/scripts/F1", R"({"script":"A"})", "getActiveConnections"},
                    Step{"put/scripts/F2", R"({"script":"A"})", "getActiveConnections"},
                    Step{"put/sequence/abort", "", "getActiveConnections"}));

} // namespace

} // namespace Quarlen::Tests
