#include "kel_server_lib/rest/handlers/FacadeReference.hpp"
#include "tests/kel_server_lib/rest/handlers/HandlerFixture.hpp"

namespace Quarlen::Tests {

namespace {

using FacadeUse = HandlerFixture;

TEST_F(FacadeUse, KeepsTheFacadeThroughACallDuringWhichItIsReplaced) {
    const std::weak_ptr<RecordingKelApi> former = api;
    bool heldDuringTheCall = false;
    api->during("getInterfaceSettings", [&] {
        Rest::setFacade(std::make_shared<RecordingKelApi>(), this);
        heldDuringTheCall = former.use_count() > 1;
    });

    EXPECT_THAT(call("get/simulation"), IsJson(R"({"enabled":false})"));

    EXPECT_TRUE(heldDuringTheCall);
    EXPECT_EQ(former.use_count(), 1);
}

TEST_F(FacadeUse, LeavesNoReferenceBehindOnceARequestIsAnswered) {
    const long before = api.use_count();

    call("get/version");
    call("put/tracing", R"({"tracing":true})");
    call("get/projects/P1/otx");

    EXPECT_EQ(api.use_count(), before);
}

} // namespace

} // namespace Quarlen::Tests
