#include "tests/kel_server_lib/rest/handlers/HandlerFixture.hpp"

namespace Quarlen::Tests {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using TracingHandlers = HandlerFixture;

TEST_F(TracingHandlers, TellsTheTracingSwitch) {
    api->pathSettings->tracing = true;
    EXPECT_THAT(call("get/tracing"), IsJson(R"({"tracing":true})"));

    api->pathSettings->tracing = false;
    api->pathSettings->tracingSecondary = true;
    EXPECT_THAT(call("get/tracing"), IsJson(R"({"tracing":false})"));
}

TEST_F(TracingHandlers, ReadsTheSwitchOnlyFromThePathSettings) {
    const HandlerReply reply = call("get/tracing");

    EXPECT_EQ(reply.status, HandlerReply::untouched);
    EXPECT_THAT(api->calls(), ElementsAre("getProjectPath()"));
}

TEST_F(TracingHandlers, SwitchesInTheGivenOrder) {
    const HandlerReply reply = call("put/tracing", R"({"tracing":true})");

    EXPECT_THAT(reply, IsJson(R"({"status":"OK"})"));
    EXPECT_EQ(reply.status, HandlerReply::untouched);
    EXPECT_THAT(api->calls(),
                ElementsAre("getServerSettings()", "setServerSettings()", "commitServerSettings()",
                            "getProjectPath()", "setProjectPath()", "commitProjectPath()"));
}

struct Switch {
    const char* body;
    bool on;
};

class TracingValue : public TracingHandlers, public testing::WithParamInterface<Switch> {};

TEST_P(TracingValue, IsGivenToAllThreeFlags) {
    api->serverSettings->optionTracing = !GetParam().on;
    api->pathSettings->tracing = !GetParam().on;
    api->pathSettings->tracingSecondary = !GetParam().on;

    call("put/tracing", GetParam().body);

    EXPECT_EQ(api->serverSettings->optionTracing, GetParam().on);
    EXPECT_EQ(api->pathSettings->tracing, GetParam().on);
    EXPECT_EQ(api->pathSettings->tracingSecondary, GetParam().on);
}

INSTANTIATE_TEST_SUITE_P(
    Truth, TracingValue,
    testing::Values(Switch{R"({"tracing":true})", true}, Switch{R"({"tracing":1})", true},
                    Switch{R"({"tracing":"no"})", true}, Switch{R"({"tracing":false})", false},
                    Switch{R"({"tracing":0})", false}, Switch{R"({"tracing":null})", false},
                    Switch{R"({"tracing":""})", false}));

TEST_P(TracingValue, LeavesTheOtherSettingsAlone) {
    for (const bool listing : {false, true}) {
        api->serverSettings->optionOtxListing = listing;

        call("put/tracing", GetParam().body);

        EXPECT_EQ(api->serverSettings->optionOtxListing, listing);
    }
}

TEST_F(TracingHandlers, TellsWhatWasSwitched) {
    call("put/tracing", R"({"tracing":true})");

    EXPECT_THAT(call("get/tracing"), IsJson(R"({"tracing":true})"));
}

TEST_F(TracingHandlers, WritesAlsoAValueThatIsThereAlready) {
    call("put/tracing", R"({"tracing":false})");

    EXPECT_EQ(api->calls().size(), 6U);
}

struct Failure {
    const char* call;
    std::size_t callsMade;
    bool serverSettingsWritten;
};

class FailingTracing : public TracingHandlers, public testing::WithParamInterface<Failure> {};

TEST_P(FailingTracing, LeavesWhatIsDoneAndDoesNoMore) {
    api->throwIn(GetParam().call, L"refused", 12);

    EXPECT_THAT(call("put/tracing", R"({"tracing":true})"), IsError("12", "refused"));

    EXPECT_EQ(api->calls().size(), GetParam().callsMade);
    EXPECT_THAT(api->calls().back(), HasSubstr(GetParam().call));
    EXPECT_EQ(api->serverSettings->optionTracing, GetParam().serverSettingsWritten);
}

INSTANTIATE_TEST_SUITE_P(
    Steps, FailingTracing,
    testing::Values(Failure{"getServerSettings", 1, false}, Failure{"setServerSettings", 2, true},
                    Failure{"commitServerSettings", 3, true}, Failure{"getProjectPath", 4, true},
                    Failure{"setProjectPath", 5, true}, Failure{"commitProjectPath", 6, true}));

TEST_F(TracingHandlers, AnswersAFailingReadWithTheErrorReply) {
    api->throwIn("getProjectPath", L"refused", 12);

    EXPECT_THAT(call("get/tracing"), IsError("12", "refused"));
}

TEST_F(TracingHandlers, RefusesABodyThatIsNoJsonWithoutTouchingTheRuntime) {
    EXPECT_THAT(call("put/tracing", "{"), IsBadRequest());
    EXPECT_THAT(call("put/tracing", ""), IsBadRequest());

    EXPECT_THAT(api->calls(), IsEmpty());
}

TEST_F(TracingHandlers, ThrowsAtABodyThatIsNoObjectWithoutTouchingTheRuntime) {
    EXPECT_THAT(exceptionOf("put/tracing", "[1]"), HasSubstr("type mismatch"));
    EXPECT_FALSE(exceptionOf("put/tracing", R"({"other":true})").empty());

    EXPECT_THAT(api->calls(), IsEmpty());
}

} // namespace

} // namespace Quarlen::Tests
