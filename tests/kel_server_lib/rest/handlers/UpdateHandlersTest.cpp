#include "std_util/SystemInformation.hpp"
#include "tests/kel_server_lib/rest/handlers/HandlerFixture.hpp"

namespace Quarlen::Tests {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class UpdateHandlers : public HandlerFixture {
protected:
    static std::wstring inUpdateFolder(const std::wstring& name) {
        return StdUtil::SystemInformation::getInstallationPath().wstr() + L"/Update/" + name;
    }

    [[nodiscard]] std::vector<std::wstring> installedPaths() const {
        std::vector<std::wstring> paths;
        for (const auto& package : api->updatePackages) {
            paths.push_back(package->packagePath);
        }
        return paths;
    }

    [[nodiscard]] std::size_t installations() const {
        return api->callsOf({"installUpdatePackages"}).size();
    }
};

TEST_F(UpdateHandlers, HandsThePackagesOverInOneCallAndInTheirOrder) {
    const HandlerReply reply =
        call("put/update", R"([{"patchName":"a.zip"},{"patchName":"b.zip"}])");

    EXPECT_THAT(reply, IsJson(R"({"status":"OK"})"));
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(api->calls().size(), 1U);
    EXPECT_THAT(installedPaths(), ElementsAre(inUpdateFolder(L"a.zip"), inUpdateFolder(L"b.zip")));
}

TEST_F(UpdateHandlers, SetsNothingButThePath) {
    call("put/update", R"([{"patchName":"a.zip","name":"x","version":"1","size":5}])");

    const auto& package = api->updatePackages.at(0);
    EXPECT_EQ(package->name + package->version + package->stagedPath + package->state +
                  package->message,
              L"");
    EXPECT_EQ(package->size, 0U);
}

TEST_F(UpdateHandlers, CallsTheRuntimeAlsoWithAnEmptyList) {
    EXPECT_THAT(call("put/update", "[]"), IsJson(R"({"status":"OK"})"));

    EXPECT_EQ(installations(), 1U);
    EXPECT_THAT(installedPaths(), IsEmpty());
}

TEST_F(UpdateHandlers, ThrowsAtASingleObjectWithoutCallingTheRuntime) {
    EXPECT_THAT(exceptionOf("put/update", R"({"patchName":"a.zip"})"), HasSubstr("type mismatch"));

    EXPECT_EQ(installations(), 0U);
}

TEST_F(UpdateHandlers, ThrowsAtAnElementThatIsNoObjectWithoutCallingTheRuntime) {
    EXPECT_THAT(exceptionOf("put/update", R"([{"patchName":"a.zip"},"b.zip"])"),
                HasSubstr("type mismatch"));

    EXPECT_EQ(installations(), 0U);
}

TEST_F(UpdateHandlers, ThrowsAtAnElementWithoutANameWithoutCallingTheRuntime) {
    EXPECT_FALSE(exceptionOf("put/update", R"([{"patchname":"a.zip"}])").empty());

    EXPECT_EQ(installations(), 0U);
}

TEST_F(UpdateHandlers, TakesANumberAsText) {
    call("put/update", R"([{"patchName":7}])");

    EXPECT_THAT(installedPaths(), ElementsAre(inUpdateFolder(L"7")));
}

TEST_F(UpdateHandlers, JoinsNamesWithoutCleaningThem) {
    call("put/update", R"([{"patchName":"../a.zip"},{"patchName":"/x\\y"},{"patchName":""}])");

    EXPECT_THAT(installedPaths(), ElementsAre(inUpdateFolder(L"../a.zip"), inUpdateFolder(L"/x\\y"),
                                              inUpdateFolder(L"")));
}

TEST_F(UpdateHandlers, TakesANameThatDoesNotConvertForTheEmptyOne) {
    call("put/update", "[{\"patchName\":\"a\xFF\"}]");

    EXPECT_THAT(installedPaths(), ElementsAre(inUpdateFolder(L"")));
}

TEST_F(UpdateHandlers, ConvertsNamesFromUtf8) {
    call("put/update", "[{\"patchName\":\"Pr\xC3\xBC"
                       "fung.zip\"}]");

    EXPECT_THAT(installedPaths(), ElementsAre(inUpdateFolder(L"Pr\u00FCfung.zip")));
}

TEST_F(UpdateHandlers, RefusesABodyThatIsNoJson) {
    EXPECT_THAT(call("put/update", "[{"), IsBadRequest());

    EXPECT_EQ(installations(), 0U);
}

TEST_F(UpdateHandlers, AnswersARefusedPackageWithTheErrorReply) {
    api->throwIn("installUpdatePackages", L"a.zip is no archive", 31);

    EXPECT_THAT(call("put/update", R"([{"patchName":"a.zip"}])"),
                IsError("31", "a.zip is no archive"));
}

} // namespace

} // namespace Quarlen::Tests
