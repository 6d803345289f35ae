#include <httplib.h>

#include "kel_server_lib/rest/handlers/Handlers.hpp"
#include "platform/TextEncoding.hpp"
#include "std_util/SystemInformation.hpp"
#include "tests/kel_server_lib/rest/handlers/HandlerFixture.hpp"

namespace Quarlen::Tests {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class StatusHandlers : public HandlerFixture {
protected:
    void addComponent(const std::wstring& version, std::int32_t kind) {
        auto component = std::make_shared<Kel_cpp::ComponentVersion>();
        component->version = version;
        component->kind = kind;
        api->componentVersions.push_back(component);
    }
};

TEST_F(StatusHandlers, TellsWhereTheServerKeepsItsFiles) {
    api->pathSettings->projectsPath = L"projects";
    api->pathSettings->tracesPath = L"traces";
    api->pathSettings->reportsPath = L"reports";
    std::string ownPath =
        Platform::toUtf8(StdUtil::SystemInformation::getInstallationPath().wstr());
    // Both separators are escaped in JSON: as "\/" and as "\\".
    for (std::size_t at = 0; (at = ownPath.find_first_of("/\\", at)) != std::string::npos;
         at += 2) {
        ownPath.insert(at, "\\");
    }

    const HandlerReply reply = call("get/configurations");

    EXPECT_THAT(reply, IsJson("{\"ownPath\":\"" + ownPath +
                              "\",\"projectsPath\":\"projects\",\"reportsPath\":\"reports\","
                              "\"tracesPath\":\"traces\"}"));
    EXPECT_EQ(reply.status, HandlerReply::untouched);
    EXPECT_THAT(api->calls(), ElementsAre("getProjectPath()"));
}

TEST_F(StatusHandlers, GivesPathsWithNonAsciiCharactersAsUtf8) {
    api->pathSettings->projectsPath = L"C:\\Pr\u00FCfl\u00E4ufe";

    EXPECT_THAT(call("get/configurations").body, HasSubstr("\"projectsPath\":\"C:\\\\Pr\xC3\xBC"
                                                           "fl\xC3\xA4ufe\""));
}

TEST_F(StatusHandlers, DoesNotCatchWhatTheConfigurationsThrow) {
    api->throwIn("getProjectPath", L"broken", 3);

    EXPECT_EQ(exceptionOf("get/configurations"), "KelApiException");
}

TEST_F(StatusHandlers, TellsTheVersions) {
    api->serverVersion = L"2.7.1";
    api->deviceInfo->cosVersion = L"6.18";
    addComponent(L"9.9", 2);
    addComponent(L"9.8", 0);
    addComponent(L"9.7", -1);
    addComponent(L"1.4.0", 1);

    const HandlerReply reply = call("get/version");

    EXPECT_THAT(reply, IsJson(R"({"cosVersion":"6.18","dpduVersion":"1.4.0","version":"2.7.1"})"));
    EXPECT_EQ(reply.status, HandlerReply::untouched);
    EXPECT_THAT(api->calls(),
                ElementsAre("getServerVersion()", "getComponentVersions()", "getDeviceInfo()"));
}

TEST_F(StatusHandlers, LeavesTheDpduVersionOutWhenThereIsNoSuchComponent) {
    addComponent(L"9.9", 2);

    EXPECT_THAT(call("get/version"), IsJson(R"({"cosVersion":"","version":"1.0.0"})"));
}

TEST_F(StatusHandlers, TellsAnEmptyDpduVersionToo) {
    addComponent(L"", 1);
    addComponent(L"second", 1);

    EXPECT_THAT(call("get/version"),
                IsJson(R"({"cosVersion":"","dpduVersion":"","version":"1.0.0"})"));
}

TEST_F(StatusHandlers, GivesTheEmptyTextForOneThatDoesNotConvert) {
    api->pathSettings->projectsPath = brokenText();
    api->pathSettings->tracesPath = brokenText();
    api->pathSettings->reportsPath = brokenText();
    EXPECT_THAT(call("get/configurations").body,
                HasSubstr(R"("projectsPath":"","reportsPath":"","tracesPath":"")"));

    api->serverVersion = brokenText();
    api->deviceInfo->cosVersion = brokenText();
    addComponent(brokenText(), 1);
    EXPECT_THAT(call("get/version"), IsJson(R"({"cosVersion":"","dpduVersion":"","version":""})"));
}

TEST_F(StatusHandlers, GivesAnErrorWithAnEmptyMessageForOneThatDoesNotConvert) {
    api->throwIn("getServerVersion", brokenText(), -2147483648);

    EXPECT_THAT(call("get/version"), IsError("-2147483648", ""));
}

TEST_F(StatusHandlers, ReportsTheFirstOfTwoDpduComponentsOnly) {
    addComponent(L"first", 1);
    addComponent(L"second", 1);

    const HandlerReply reply = call("get/version");

    EXPECT_THAT(reply.body, HasSubstr(R"("dpduVersion":"first")"));
    EXPECT_THAT(reply.body, Not(HasSubstr("second")));
}

class FailingVersion : public StatusHandlers, public testing::WithParamInterface<const char*> {};

TEST_P(FailingVersion, GivesTheErrorReplyAndNoVersions) {
    api->throwIn(GetParam(), L"no answer", -5);

    EXPECT_THAT(call("get/version"), IsError("-5", "no answer"));
}

INSTANTIATE_TEST_SUITE_P(Calls, FailingVersion,
                         testing::Values("getServerVersion", "getComponentVersions",
                                         "getDeviceInfo"));

TEST_F(StatusHandlers, AnswersHealthWithoutTouchingTheRuntime) {
    api->selectedProjectName = L"P1";

    const HandlerReply reply = call("get/health");

    EXPECT_THAT(reply, IsJson(R"({"status":"OK"})"));
    EXPECT_EQ(reply.status, 200);
    EXPECT_THAT(api->calls(), IsEmpty());
}

TEST_F(StatusHandlers, RaisesTheStopFlagAndAnswersOk) {
    const HandlerReply reply = call("put/stop");

    EXPECT_THAT(reply, IsJson(R"({"status":"OK"})"));
    EXPECT_EQ(reply.status, HandlerReply::untouched);
    EXPECT_TRUE(stopRequested);
    EXPECT_THAT(api->calls(), IsEmpty());
}

TEST_F(StatusHandlers, HasSetItsReplyWhenItRaisesTheStopFlag) {
    httplib::Response response;
    std::string bodyAtTheStop;
    std::string typeAtTheStop;
    const Rest::HandlerContext context{[&] {
                                           bodyAtTheStop = response.body;
                                           typeAtTheStop =
                                               response.get_header_value("Content-Type");
                                       },
                                       handler};
    Rest::putStop({httplib::Request(), response, Rest::PathParameters(), context});

    EXPECT_EQ(bodyAtTheStop, R"({"status":"OK"})");
    EXPECT_EQ(typeAtTheStop, "application/json");
}

TEST_F(StatusHandlers, AnswersASecondStopAlike) {
    call("put/stop");

    EXPECT_THAT(call("put/stop"), IsJson(R"({"status":"OK"})"));
    EXPECT_TRUE(stopRequested);
}

TEST_F(StatusHandlers, LowersNoStopFlag) {
    stopRequested = true;

    call("get/health");

    EXPECT_TRUE(stopRequested);
}

} // namespace

} // namespace Quarlen::Tests
