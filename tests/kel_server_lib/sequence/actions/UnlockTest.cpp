#include "kel_server_lib/sequence/actions/Unlock.hpp"

#include <stdexcept>

#include "tests/kel_server_lib/sequence/SequenceFixture.hpp"

namespace Quarlen::Tests {

using testing::ElementsAre;

class OpenUnlock : public SequenceFixture {};

TEST_F(OpenUnlock, StoresTheHandleOfTheSession) {
    api->unlockHandle = 0x1'0000'0001;

    openUnlock(handler, api, L"UnlockGateway", L"level1", handler.currentJobHandle);

    EXPECT_THAT(api->calls(), ElementsAre("openUnlockSession(UnlockGateway, level1)"));
    EXPECT_EQ(handler.currentJobHandle, 0x1'0000'0001U);
}

TEST_F(OpenUnlock, PrintsAFailureAndLeavesHandleAndStatusAsTheyWere) {
    handler.currentJobHandle = 5;
    handler.currentJobId = 7;
    api->throwIn("openUnlockSession", L"refused", 9);

    openUnlock(handler, api, L"U", L"p", handler.currentJobHandle);

    EXPECT_EQ(handler.currentJobHandle, 5U);
    EXPECT_EQ(handler.currentJobId, 7U);
    EXPECT_EQ(printed(), "Exception caught: refused code: 9\n");
    EXPECT_THAT(statuses(), ElementsAre());
}

TEST_F(OpenUnlock, HandsOverOneParameterAlsoWhenItIsEmpty) {
    openUnlock(handler, api, L"U", L"", handler.currentJobHandle);

    EXPECT_THAT(api->calls(), ElementsAre("openUnlockSession(U, \"\")"));
}

TEST_F(OpenUnlock, OpensASessionWithoutANameAndStoresWhateverHandleComes) {
    handler.currentJobHandle = 5;
    api->unlockHandle = 0;

    openUnlock(handler, api, L"", L"p", handler.currentJobHandle);

    EXPECT_THAT(api->calls(), ElementsAre("openUnlockSession(, p)"));
    EXPECT_EQ(handler.currentJobHandle, 0U);
}

TEST_F(OpenUnlock, LetsOtherExceptionsPass) {
    handler.currentJobHandle = 5;
    api->during("openUnlockSession", [] { throw std::runtime_error("not the runtime's own"); });

    EXPECT_THROW(openUnlock(handler, api, L"U", L"p", handler.currentJobHandle),
                 std::runtime_error);

    EXPECT_EQ(handler.currentJobHandle, 5U);
    EXPECT_EQ(printed(), "");
}

} // namespace Quarlen::Tests
