#include "platform/UnfinishedFiles.hpp"

#include <chrono>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "platform/FolderListing.hpp"
#include "tests/support/KilledWriter.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Platform::Tests {
namespace {

namespace fs = std::filesystem;
using Quarlen::Tests::ofAKilledProcess;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class UnfinishedFiles : public testing::Test {
protected:
    fs::path write(const fs::path& file, const std::string& content) const {
        return folder.write(file.filename().string(), content);
    }
    fs::path leavePartial(const std::string& content) const {
        return write(ofAKilledProcess(UnfinishedFile(target).partial), content);
    }
    fs::path leaveComplete(const std::string& content) const {
        return write(ofAKilledProcess(UnfinishedFile(target).complete), content);
    }
    [[nodiscard]] std::vector<std::string> names() const {
        std::vector<std::string> found;
        for (const auto& entry : fs::directory_iterator(folder.path())) {
            found.push_back(entry.path().filename().string());
        }
        return found;
    }

    Quarlen::Tests::TemporaryFolder folder;
    fs::path target = folder.path() / "KelServer.xml";
};

TEST_F(UnfinishedFiles, HaveNamesOfTheirOwnBesideTheTarget) {
    const UnfinishedFile one(target);
    const UnfinishedFile two(target);

    EXPECT_EQ(one.partial.parent_path(), folder.path());
    EXPECT_EQ(one.complete.parent_path(), folder.path());
    EXPECT_NE(one.partial, one.complete);
    EXPECT_NE(one.partial, two.partial);
    EXPECT_NE(one.complete, two.complete);
}

TEST_F(UnfinishedFiles, AreKnownByTheirNames) {
    EXPECT_TRUE(isUnfinishedFileName(UnfinishedFile(target).partial));
    EXPECT_TRUE(isUnfinishedFileName(UnfinishedFile(target).complete));
    EXPECT_FALSE(isUnfinishedFileName(target));
}

TEST_F(UnfinishedFiles, OfAKilledProcessAreRemovedBesideTheTarget) {
    folder.write("KelServer.xml", "old");
    leavePartial("par");
    leaveComplete("new");

    settleUnfinishedFiles(target);

    EXPECT_THAT(names(), ElementsAre("KelServer.xml"));
    EXPECT_EQ(folder.read("KelServer.xml"), "old");
}

TEST_F(UnfinishedFiles, OfAKilledProcessTakeThePlaceOfAMissingTargetWhenTheyAreComplete) {
    leavePartial("par");
    leaveComplete("new");

    settleUnfinishedFiles(target);

    EXPECT_THAT(names(), ElementsAre("KelServer.xml"));
    EXPECT_EQ(folder.read("KelServer.xml"), "new");
}

TEST_F(UnfinishedFiles, LeaveATargetMissingOfWhichTheyAreAPart) {
    leavePartial("par");

    settleUnfinishedFiles(target);

    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(UnfinishedFiles, GiveTheNewestOneThePlace) {
    const auto now = fs::file_time_type::clock::now();
    fs::last_write_time(leaveComplete("older"), now - std::chrono::hours(2));
    fs::last_write_time(leaveComplete("newest"), now);
    fs::last_write_time(leaveComplete("old"), now - std::chrono::hours(1));

    settleUnfinishedFiles(target);

    EXPECT_THAT(names(), ElementsAre("KelServer.xml"));
    EXPECT_EQ(folder.read("KelServer.xml"), "newest");
}

TEST_F(UnfinishedFiles, AreSettledInFoldersOfEveryDepth) {
    const std::string deep = std::string(150, 'n') + "/" + std::string(150, 'm');
    const fs::path inDeep = folder.path() / deep / "KelServer.xml";
    const auto leave = [&](const fs::path& file, const std::string& content) {
        folder.write(deep + "/" + ofAKilledProcess(file).filename().string(), content);
    };
    leave(UnfinishedFile(inDeep).partial, "par");
    leave(UnfinishedFile(inDeep).complete, "new");

    settleUnfinishedFiles(inDeep);

    std::error_code failure;
    EXPECT_THAT(listFolder(folder.path() / deep, failure), ElementsAre(inDeep));
    EXPECT_EQ(folder.read(deep + "/KelServer.xml"), "new");
}

TEST_F(UnfinishedFiles, OfARunningProcessAreLeftAlone) {
    const UnfinishedFile names(target);
    write(names.partial, "par");
    write(names.complete, "new");

    settleUnfinishedFiles(target);

    EXPECT_THAT(this->names(), UnorderedElementsAre(names.partial.filename().string(),
                                                    names.complete.filename().string()));
}

TEST_F(UnfinishedFiles, OfOtherTargetsAndAllOtherFilesAreLeftAlone) {
    const fs::path other = ofAKilledProcess(UnfinishedFile(folder.path() / "Other.xml").complete);
    write(other, "other");
    const std::string killed = leavePartial("par").filename().string();
    const std::vector<std::string> alike = {killed + ".bak", "x" + killed, ".kel-1-2-3.new",
                                            ".kel-.new", killed.substr(0, 14) + ".new"};
    for (const std::string& name : alike) {
        folder.write(name, "mine");
    }

    settleUnfinishedFiles(target);

    auto expected = alike;
    expected.push_back(other.filename().string());
    EXPECT_THAT(names(), testing::UnorderedElementsAreArray(expected));
}

TEST_F(UnfinishedFiles, AreNoFolders) {
    const auto name = ofAKilledProcess(UnfinishedFile(target).complete);
    fs::create_directory(name);

    settleUnfinishedFiles(target);

    EXPECT_TRUE(fs::is_directory(name));
    EXPECT_FALSE(fs::exists(target));
}

TEST_F(UnfinishedFiles, AreNoneInAFolderThatIsMissing) {
    settleUnfinishedFiles(folder.path() / "missing" / "KelServer.xml");

    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(UnfinishedFiles, OfTheFileThatALinkStandsForAreFound) {
    fs::create_directory(folder.path() / "real");
    if (!Quarlen::Tests::makeLink(fs::path("real") / "KelServer.xml", target)) {
        GTEST_SKIP() << Quarlen::Tests::noLinks; // Windows keeps them to some users
    }
    const auto left =
        ofAKilledProcess(UnfinishedFile(folder.path() / "real" / "KelServer.xml").complete);
    folder.write("real/" + left.filename().string(), "new");

    settleUnfinishedFiles(target);

    EXPECT_EQ(folder.read("real/KelServer.xml"), "new");
    EXPECT_TRUE(fs::is_symlink(target));
}

} // namespace
} // namespace Quarlen::Platform::Tests
