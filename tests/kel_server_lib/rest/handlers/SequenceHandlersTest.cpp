#include "tests/kel_server_lib/rest/handlers/HandlerFixture.hpp"
#include "tests/support/TraceCapture.hpp"

namespace Quarlen::Tests {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class SequenceHandlers : public HandlerFixture {
protected:
    SequenceHandlers() {
        handler->f1.scriptName = L"Former1.xml";
        handler->f2.scriptName = L"Former2.xml";
    }

    /// The two buttons' scripts.
    [[nodiscard]] std::wstring scripts() const {
        return handler->f1.scriptName + L" " + handler->f2.scriptName;
    }

    void connectClient() {
        api->activeConnections.push_back(std::make_shared<Kel_cpp::ActiveConnection>());
    }
};

TEST_F(SequenceHandlers, BindsAScriptToF1) {
    const TraceCapture traces;

    const HandlerReply reply = call("put/scripts/F1", R"({"script":"Flash.xml"})");

    EXPECT_THAT(reply, IsJson(R"({"status":"OK"})"));
    EXPECT_EQ(reply.status, HandlerReply::untouched);
    EXPECT_EQ(scripts(), L"Flash.xml Former2.xml");
    EXPECT_EQ(traces.texts().front(), L"-> changeF1Sequence");
}

TEST_F(SequenceHandlers, BindsAScriptToF2) {
    const TraceCapture traces;

    EXPECT_THAT(call("put/scripts/F2", R"({"script":"Flash.xml"})"), IsJson(R"({"status":"OK"})"));

    EXPECT_EQ(scripts(), L"Former1.xml Flash.xml");
    EXPECT_EQ(traces.texts().front(), L"-> changeF2Sequence");
}

TEST_F(SequenceHandlers, HandsTheFacadeOn) {
    call("put/scripts/F1", R"({"script":"Flash.xml"})");

    EXPECT_THAT(api->calls(), ElementsAre("setServerStatus(Running cancel sequence)",
                                          "getActiveConnections()", "setServerStatus(Idle)"));
}

class UnknownButton : public SequenceHandlers, public testing::WithParamInterface<const char*> {};

TEST_P(UnknownButton, IsRefusedAndChangesNeitherButton) {
    const HandlerReply reply =
        call(std::string("put/scripts/") + GetParam(), R"({"script":"Flash.xml"})");

    EXPECT_THAT(reply, IsBadRequest());
    EXPECT_EQ(scripts(), L"Former1.xml Former2.xml");
    EXPECT_THAT(api->calls(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Names, UnknownButton,
                         testing::Values("F3", "f1", "F10", "F", "", " F1", "F1 ", "\xFF"));

TEST_F(SequenceHandlers, RefusesAnUnknownButtonBeforeItLooksForTheScript) {
    EXPECT_THAT(call("put/scripts/F3", "{}"), IsBadRequest());
}

TEST_F(SequenceHandlers, RefusesABodyThatIsNoJsonAlsoForAValidButton) {
    EXPECT_THAT(call("put/scripts/F2", "Flash.xml"), IsBadRequest());

    EXPECT_EQ(scripts(), L"Former1.xml Former2.xml");
    EXPECT_THAT(api->calls(), IsEmpty());
}

TEST_F(SequenceHandlers, ThrowsWithoutAScriptMemberAndChangesNothing) {
    EXPECT_THAT(exceptionOf("put/scripts/F1", "[1]"), HasSubstr("type mismatch"));
    EXPECT_FALSE(exceptionOf("put/scripts/F1", R"({"name":"Flash.xml"})").empty());

    EXPECT_EQ(scripts(), L"Former1.xml Former2.xml");
}

struct ScriptValue {
    const char* json;
    const wchar_t* name;
};

class ScriptMember : public SequenceHandlers, public testing::WithParamInterface<ScriptValue> {};

TEST_P(ScriptMember, IsTakenAsText) {
    call("put/scripts/F1", std::string(R"({"script":)") + GetParam().json + "}");

    EXPECT_EQ(handler->f1.scriptName, GetParam().name);
}

INSTANTIATE_TEST_SUITE_P(
    Values, ScriptMember,
    testing::Values(ScriptValue{"5", L"5"}, ScriptValue{"true", L"true"},
                    ScriptValue{"null", L"null"}, ScriptValue{"[1]", L"array"},
                    ScriptValue{"{}", L"object"}, ScriptValue{"false", L"false"},
                    ScriptValue{"0.1", L"0.10000000000000001"}, ScriptValue{"\"\"", L""},
                    ScriptValue{"\"\\u00fc.xml\"", L"\u00FC.xml"}, ScriptValue{"\"\xFF\"", L""}));

TEST_F(SequenceHandlers, PassesANameOnWithoutLookingForTheScript) {
    EXPECT_THAT(call("put/scripts/F1", R"({"script":"../nowhere/Missing.xml"})"),
                IsJson(R"({"status":"OK"})"));

    EXPECT_EQ(handler->f1.scriptName, L"../nowhere/Missing.xml");
}

TEST_F(SequenceHandlers, AnswersAFailingRebindingWithTheErrorReply) {
    api->throwIn("getActiveConnections", L"gone", -17);

    EXPECT_THAT(call("put/scripts/F1", R"({"script":"Flash.xml"})"), IsError("-17", "gone"));
}

TEST_F(SequenceHandlers, AbortsTheRunningSequence) {
    connectClient();
    handler->currentJobId = 42;

    const HandlerReply reply = call("put/sequence/abort");

    EXPECT_THAT(reply, IsJson(R"({"status":"OK"})"));
    EXPECT_EQ(reply.status, HandlerReply::untouched);
    EXPECT_THAT(api->calls(),
                ElementsAre("setServerStatus(Running abort sequence)", "getActiveConnections()",
                            "cancelJobs(42)", "selectProject()", "setServerStatus(Idle)"));
}

TEST_F(SequenceHandlers, AnswersOkWhenThereIsNothingToAbort) {
    EXPECT_THAT(call("put/sequence/abort"), IsJson(R"({"status":"OK"})"));
}

TEST_F(SequenceHandlers, DoesNotLookAtTheBodyOfAnAbort) {
    EXPECT_THAT(call("put/sequence/abort", "{"), IsJson(R"({"status":"OK"})"));
}

TEST_F(SequenceHandlers, AnswersAFailingAbortWithTheErrorReply) {
    api->throwIn("getActiveConnections", L"Verbindung verloren: \u00FC", 17);

    EXPECT_THAT(call("put/sequence/abort"), IsError("17", "Verbindung verloren: \xC3\xBC"));
}

} // namespace

} // namespace Quarlen::Tests
