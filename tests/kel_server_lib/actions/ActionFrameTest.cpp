#include "kel_server_lib/actions/ActionFrame.hpp"

#include <stdexcept>

#include "tests/kel_server_lib/SequenceFixture.hpp"

namespace Quarlen::Tests {

using testing::ElementsAre;

class ActionFrame : public SequenceFixture {
protected:
    bool run(const std::function<void()>& steps) {
        return runInActionFrame(handler, *api, L"runSomething", steps);
    }
};

TEST_F(ActionFrame, TracesAndEndsIdle) {
    const TraceCapture traces;

    EXPECT_TRUE(run([this] { api->connectVehicle(); }));

    EXPECT_THAT(api->calls(), ElementsAre("connectVehicle()", "setServerStatus(Idle)"));
    EXPECT_THAT(traces.texts(), ElementsAre(L"-> runSomething", L"<- runSomething"));
}

TEST_F(ActionFrame, TellsAFailureOfTheRuntimeOnConsoleAndStatus) {
    handler.currentJobId = 7;

    EXPECT_FALSE(run([] { throw Kel_cpp::KelApiException(L"Ger\u00E4t fehlt", -12); }));

    EXPECT_EQ(printed(), "Exception caught: Ger\xC3\xA4t fehlt code: -12\n");
    EXPECT_THAT(api->calls(), ElementsAre("setServerStatus(Exception caught: Ger\xC3\xA4t fehlt)"));
    EXPECT_EQ(handler.currentJobId, 0U);
}

TEST_F(ActionFrame, TracesNoEndOfAFailedAction) {
    const TraceCapture traces;

    EXPECT_FALSE(run([] { throw Kel_cpp::KelApiException(L"gone", 3); }));

    EXPECT_THAT(traces.texts(), ElementsAre(L"-> runSomething"));
}

TEST_F(ActionFrame, TreatsAFailureOfTheFinalStatusLikeAnyOther) {
    api->throwIn("setServerStatus(Idle)", L"gone", 3);

    EXPECT_FALSE(run([] {}));

    EXPECT_EQ(api->calls().back(), "setServerStatus(Exception caught: gone)");
}

TEST_F(ActionFrame, LetsOtherExceptionsPass) {
    EXPECT_THROW(run([] { throw std::runtime_error("other"); }), std::runtime_error);

    EXPECT_EQ(printed(), "");
}

} // namespace Quarlen::Tests
