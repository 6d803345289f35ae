#include "kel_server_lib/sequence/actions/UpdateFiles.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/RecordingKelApi.hpp"

namespace Quarlen::Tests {

using testing::ElementsAre;

class PrepareUpdateFiles : public testing::Test {
protected:
    Kel_cpp::DataFolder& addFolder(const std::wstring& name) {
        const auto folder = std::make_shared<Kel_cpp::DataFolder>();
        folder->name = name;
        api.dataFolders.push_back(folder);
        return *folder;
    }

    static void addFile(Kel_cpp::DataFolder& folder, const std::wstring& path,
                        bool present = true) {
        const auto file = std::make_shared<Kel_cpp::DataFile>();
        file->path = path;
        file->present = present;
        folder.files.push_back(file);
    }

    RecordingKelApi api;
};

TEST_F(PrepareUpdateFiles, HandsOverTheContainersInTheirOrder) {
    auto& folder = addFolder(L"flashdata");
    addFile(folder, L"b.zip");
    addFile(folder, L"a.pdx");

    prepareUpdateFiles(api);

    EXPECT_THAT(api.calls(),
                ElementsAre("getDataFolders(1)", "prepareUpdatePackages(b.zip, a.pdx)"));
}

TEST_F(PrepareUpdateFiles, PassesOverOtherTypesAndFilesThatAreNotThere) {
    auto& folder = addFolder(L"flashdata");
    addFile(folder, L"notes.txt");
    addFile(folder, L"absent.zip", false);
    addFile(folder, L"a.pdx");

    prepareUpdateFiles(api);

    EXPECT_EQ(api.calls().back(), "prepareUpdatePackages(a.pdx)");
}

TEST_F(PrepareUpdateFiles, HandsOverNothingWhenNoFileIsAContainer) {
    addFile(addFolder(L"flashdata"), L"notes.txt");

    prepareUpdateFiles(api);

    EXPECT_THAT(api.calls(), ElementsAre("getDataFolders(1)"));
}

TEST_F(PrepareUpdateFiles, TakesOnlyTheFirstFolderOfExactlyThatName) {
    addFile(addFolder(L"Flashdata"), L"wrong.zip");
    addFile(addFolder(L"flashdata"), L"first.zip");
    addFile(addFolder(L"flashdata"), L"second.zip");

    prepareUpdateFiles(api);

    EXPECT_EQ(api.calls().back(), "prepareUpdatePackages(first.zip)");
}

TEST_F(PrepareUpdateFiles, TakesTheFirstFolderAlsoWhenItHoldsNothing) {
    addFolder(L"flashdata");
    addFile(addFolder(L"flashdata"), L"second.zip");

    prepareUpdateFiles(api);

    EXPECT_THAT(api.calls(), ElementsAre("getDataFolders(1)"));
}

TEST_F(PrepareUpdateFiles, HandsOverAFileTwiceThatIsListedTwice) {
    auto& folder = addFolder(L"flashdata");
    addFile(folder, L"a.zip");
    addFile(folder, L"a.zip");

    prepareUpdateFiles(api);

    EXPECT_EQ(api.calls().back(), "prepareUpdatePackages(a.zip, a.zip)");
}

TEST_F(PrepareUpdateFiles, KeepsNothingOfTheAnswer) {
    addFile(addFolder(L"flashdata"), L"a.zip");
    api.updateDescriptions = {std::make_shared<Kel_cpp::UpdateDescription>()};

    prepareUpdateFiles(api);

    EXPECT_EQ(api.updateDescriptions.front().use_count(), 1);
}

TEST_F(PrepareUpdateFiles, LetsAFailureOfEitherCallPass) {
    addFile(addFolder(L"flashdata"), L"a.zip");
    api.throwIn("prepareUpdatePackages", L"gone", 3);
    EXPECT_THROW(prepareUpdateFiles(api), Kel_cpp::KelApiException);

    api.throwIn("getDataFolders", L"gone", 3);
    EXPECT_THROW(prepareUpdateFiles(api), Kel_cpp::KelApiException);

    EXPECT_EQ(api.count("prepareUpdatePackages(a.zip)"), 1U);
}

TEST_F(PrepareUpdateFiles, HandsOverNothingOfAFolderWhoseNameOnlyBeginsOrEndsSo) {
    addFile(addFolder(L"old_flashdata"), L"c.zip");
    addFile(addFolder(L"flashdata2"), L"a.zip");
    addFile(addFolder(L"flash"), L"b.zip");

    prepareUpdateFiles(api);

    EXPECT_THAT(api.calls(), ElementsAre("getDataFolders(1)"));
}

TEST_F(PrepareUpdateFiles, HandsOverNothingWithoutTheFolder) {
    addFile(addFolder(L"other"), L"a.zip");

    prepareUpdateFiles(api);

    EXPECT_THAT(api.calls(), ElementsAre("getDataFolders(1)"));
}

} // namespace Quarlen::Tests
