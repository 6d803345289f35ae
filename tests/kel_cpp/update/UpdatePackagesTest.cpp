#include "kel_cpp/update/UpdatePackages.hpp"

#include <iomanip>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kel_cpp/base/RuntimeError.hpp"
#include "platform/FileActions.hpp"
#include "platform/FileNames.hpp"
#include "platform/Sha256.hpp"
#include "platform/TextEncoding.hpp"
#include "platform/UnfinishedFiles.hpp"
#include "tests/kel_cpp/update/ZipFiles.hpp"
#include "tests/support/KilledWriter.hpp"
#include "tests/support/NumberedCause.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/TestPaths.hpp"
#include "tests/support/TraceCapture.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using testing::UnorderedElementsAre;

class UpdatePackages : public testing::Test {
protected:
    UpdatePackages() { fs::create_directories(updates); }

    /// The path as clients of the facade form it: with the folder's separator and their own text.
    [[nodiscard]] std::shared_ptr<UpdatePackageInfo> package(const std::wstring& name) const {
        auto info = std::make_shared<UpdatePackageInfo>();
        info->packagePath = Platform::fromPath(updates) + L"/" + name;
        return info;
    }
    void stage(const RecordList<UpdatePackageInfo>& packages) const {
        stageUpdatePackages(packages, updates, staging);
    }
    [[nodiscard]] std::wstring messageFor(const std::wstring& name) const {
        return messageOf([&] { stage({package(name)}); });
    }
    [[nodiscard]] std::vector<std::string> stagedNames() const {
        std::vector<std::string> names;
        std::error_code missing;
        for (const auto& entry : fs::directory_iterator(staging, missing)) {
            names.push_back(entry.path().filename().string());
        }
        return names;
    }

    static std::wstring sha256Of(const std::string& content) {
        std::wostringstream digits;
        for (const unsigned byte : Platform::sha256(content)) {
            digits << std::hex << std::setw(2) << std::setfill(L'0') << byte;
        }
        return digits.str();
    }

    Quarlen::Tests::TemporaryFolder folder;
    fs::path updates = folder.path() / "Update";
    fs::path staging = folder.path() / "data" / "staging";
};

/// Longer than the calls of some systems take without more ado.
TEST_F(UpdatePackages, AreStagedWhateverTheLengthOfTheirPaths) {
    const std::string deep = std::string(150, 'n') + "/" + std::string(150, 'm');
    const fs::path source = writeZip(updates / "Patch_01.zip", {"a.bin"});
    Platform::createFolders(folder.inside(deep + "/Update"));
    Platform::copyFile(source, folder.inside(deep + "/Update/Patch_01.zip"));
    const auto package = std::make_shared<UpdatePackageInfo>();
    package->packagePath = Platform::fromPath(folder.inside(deep + "/Update/Patch_01.zip"));

    stageUpdatePackages({package}, folder.inside(deep + "/Update"), folder.inside(deep + "/data"));

    EXPECT_EQ(folder.read(deep + "/data/Patch_01.zip"), folder.read("Update/Patch_01.zip"));
    EXPECT_EQ(package->size, fs::file_size(source));
}

TEST_F(UpdatePackages, AreStagedByteForByte) {
    const fs::path source = writeZip(updates / "Patch_01.zip", {"a.bin"});

    stage({package(L"Patch_01.zip")});

    EXPECT_EQ(folder.read("data/staging/Patch_01.zip"), folder.read("Update/Patch_01.zip"));
    EXPECT_TRUE(fs::exists(source));
    EXPECT_THAT(stagedNames(), ElementsAre("Patch_01.zip"));
}

TEST_F(UpdatePackages, FillTheirRecords) {
    const fs::path source = writeZip(updates / "Patch_01.zip", {"a.bin", "b.bin"});
    const auto info = package(L"Patch_01.zip");

    stage({info});

    EXPECT_EQ(info->name, L"Patch_01");
    EXPECT_EQ(info->stagedPath, Platform::fromPath(staging / "Patch_01.zip"));
    EXPECT_EQ(info->size, fs::file_size(source));
    EXPECT_EQ(info->state, L"Staged");
    EXPECT_EQ(info->message, L"2 entries, SHA-256 " + sha256Of(folder.read("Update/Patch_01.zip")));
    EXPECT_EQ(info->version, L"");
}

TEST_F(UpdatePackages, ReplaceAnEarlierOneOfTheSameName) {
    writeZip(updates / "a.zip", {"old"});
    stage({package(L"a.zip")});
    writeZip(updates / "a.zip", {"new", "more"});

    stage({package(L"a.zip")});

    EXPECT_EQ(folder.read("data/staging/a.zip"), folder.read("Update/a.zip"));
}

TEST_F(UpdatePackages, OfAnEmptyListAreFine) {
    EXPECT_NO_THROW(stage({}));

    EXPECT_THAT(stagedNames(), IsEmpty());
}

TEST_F(UpdatePackages, MayLieInASubfolder) {
    writeZip(updates / "2026" / "a.zip", {"a"});

    stage({package(L"2026/a.zip")});

    EXPECT_THAT(stagedNames(), ElementsAre("a.zip"));
}

TEST_F(UpdatePackages, AreRefusedOutsideOfTheUpdateFolder) {
    writeZip(folder.path() / "a.zip", {"a"});
    writeZip(folder.path() / "Update2" / "a.zip", {"a"});

    for (const wchar_t* name : {L"../a.zip", L"../Update2/a.zip", L"none/../../a.zip", L"..",
                                L"../none.zip", L"", L"."}) {
        EXPECT_THAT(messageFor(name), EndsWith(L": it is not inside the update folder")) << name;
    }
    EXPECT_THAT(stagedNames(), IsEmpty());
}

TEST_F(UpdatePackages, AreMissingAndNotOutsideWhereTheirFolderIsMissing) {
    fs::remove(updates);
    updates /= ""; // with the separator that people may configure

    EXPECT_THAT(messageFor(L"a.zip"), EndsWith(L": there is no regular file of this name"));
}

TEST_F(UpdatePackages, AreRefusedWhenALinkLeadsOutOfTheUpdateFolder) {
    writeZip(folder.path() / "outside" / "a.zip", {"a"});
    if (!Quarlen::Tests::makeLink(folder.path() / "outside" / "a.zip", updates / "link.zip") ||
        !Quarlen::Tests::makeLink(folder.path() / "outside", updates / "sub")) {
        GTEST_SKIP() << Quarlen::Tests::noLinks; // Windows keeps them to some users
    }

    EXPECT_THAT(messageFor(L"link.zip"), EndsWith(L": it is not inside the update folder"));
    EXPECT_THAT(messageFor(L"sub/a.zip"), EndsWith(L": it is not inside the update folder"));
}

TEST_F(UpdatePackages, MayBeReachedByALinkInsideTheUpdateFolder) {
    writeZip(updates / "a.zip", {"a"});
    if (!Quarlen::Tests::makeLink(updates / "a.zip", updates / "latest.zip")) {
        GTEST_SKIP() << Quarlen::Tests::noLinks; // Windows keeps them to some users
    }

    stage({package(L"latest.zip")});

    EXPECT_THAT(stagedNames(), ElementsAre("a.zip"));
}

TEST_F(UpdatePackages, AreFoundWhenTheUpdateFolderIsALink) {
    writeZip(updates / "a.zip", {"a"});
    const fs::path link = folder.path() / "link";
    if (!Quarlen::Tests::makeLink(updates, link)) {
        GTEST_SKIP() << Quarlen::Tests::noLinks; // Windows keeps them to some users
    }

    stageUpdatePackages({package(L"a.zip")}, link / "", staging);

    EXPECT_THAT(stagedNames(), ElementsAre("a.zip"));
}

TEST_F(UpdatePackages, AreRefusedWithTheSystemsCauseWhereALinkLeadsNowhere) {
    if (!Quarlen::Tests::makeLink(updates / "loop.zip", updates / "loop.zip")) {
        GTEST_SKIP() << Quarlen::Tests::noLinks; // Windows keeps them to some users
    }

    EXPECT_THAT(messageFor(L"loop.zip"),
                testing::AllOf(HasSubstr(L"loop.zip\": "), Quarlen::Tests::EndsWithANumber()));
}

TEST_F(UpdatePackages, AreRefusedWithNameAndCause) {
    folder.write("Update/text.zip", "no archive");
    fs::create_directory(updates / "folder.zip");

    const std::wstring start = L"update package \"" + Platform::fromPath(updates) + L"/";
    EXPECT_EQ(messageFor(L"none.zip"),
              start + L"none.zip\": there is no regular file of this name");
    EXPECT_EQ(messageFor(L"folder.zip"),
              start + L"folder.zip\": there is no regular file of this name");
    EXPECT_THAT(messageFor(L"text.zip"),
                StartsWith(start + L"text.zip\": not a readable archive: "));
    EXPECT_THAT(messageFor(std::wstring(L"a.zip\0b", 7)),
                EndsWith(L": its path contains a null character"));
    EXPECT_THAT(messageFor(L"a\xDC80.zip"), EndsWith(L": its path is not valid Unicode text"));
    EXPECT_THAT(messageOf([&] { stage({nullptr}); }), EndsWith(L": its record is missing"));
}

TEST_F(UpdatePackages, AreAllCheckedBeforeTheFirstIsStaged) {
    writeZip(updates / "good.zip", {"a"});
    const auto good = package(L"good.zip");

    EXPECT_THROW(stage({good, package(L"none.zip")}), KelApiException);

    EXPECT_THAT(stagedNames(), IsEmpty());
    EXPECT_EQ(good->state, L"");
}

TEST_F(UpdatePackages, OfTheSameFileNameAreRefusedTogether) {
    writeZip(updates / "a.zip", {"a"});
    writeZip(updates / "other" / "a.zip", {"b"});

    EXPECT_THAT(messageOf([&] {
                    stage({package(L"a.zip"), package(L"other/a.zip")});
                }),
                EndsWith(L": another package of the list has the same file name"));
}

TEST_F(UpdatePackages, OfNamesThatTheFileSystemTakesForOneAreRefusedTogether) {
    writeZip(updates / "e.zip", {"a"});
    writeZip(updates / "E.ZIP", {"a"});
    const auto stageBoth = [&] { stage({package(L"e.zip"), package(L"E.ZIP")}); };

    if (Platform::isSameFileName("a", "A")) {
        EXPECT_THAT(messageOf(stageBoth),
                    EndsWith(L": another package of the list has the same file name"));
    } else {
        EXPECT_NO_THROW(stageBoth());
        EXPECT_THAT(stagedNames(), testing::UnorderedElementsAre("E.ZIP", "e.zip"));
    }
}

TEST_F(UpdatePackages, AreTakenByTheirOwnNamesOnly) {
    writeZip(updates / "a.zip", {"a"});
    for (const wchar_t* const name :
         {L"a.zip.", L"a.zip ", L"a.zip:b", L"a.zip::$DATA", L"nul.zip", L"LPT\u00B2.zip"}) {
        EXPECT_THAT(messageFor(name), EndsWith(Platform::isTakenLiterally(Platform::toPath(name))
                                                   ? L": there is no regular file of this name"
                                                   : L": no file can have this name"));
    }
    EXPECT_THAT(stagedNames(), IsEmpty());
}

TEST_F(UpdatePackages, KeepTheirContentsWhateverTheirNamesEndIn) {
    writeZip(updates / "x.zip", {"a"});
    writeZip(updates / "x.zip.partial", {"b", "c"});
    stage({package(L"x.zip.partial")});

    stage({package(L"x.zip"), package(L"x.zip.partial")});
    stage({package(L"x.zip")});

    EXPECT_THAT(stagedNames(), UnorderedElementsAre("x.zip", "x.zip.partial"));
    EXPECT_EQ(folder.read("data/staging/x.zip"), folder.read("Update/x.zip"));
    EXPECT_EQ(folder.read("data/staging/x.zip.partial"), folder.read("Update/x.zip.partial"));
}

TEST_F(UpdatePackages, LeaveNothingBehindWhenStagingFails) {
    writeZip(updates / "a.zip", {"a"});
    writeZip(updates / "b.zip", {"b"});
    // A folder in the place of the copy: it cannot be written.
    fs::create_directories(staging / "b.zip" / "inside");

    const std::wstring message = messageOf([&] { stage({package(L"a.zip"), package(L"b.zip")}); });

    EXPECT_THAT(message, testing::AllOf(HasSubstr(L"b.zip\": it cannot be staged in \"" +
                                                  Platform::fromPath(staging) + L"\": "),
                                        Quarlen::Tests::EndsWithANumber()));
    EXPECT_THAT(stagedNames(), ElementsAre("b.zip"));
}

TEST_F(UpdatePackages, ThatReplacedEarlierOnesStayWhenStagingFails) {
    writeZip(updates / "a.zip", {"a"});
    writeZip(updates / "b.zip", {"b"});
    stage({package(L"a.zip")});
    fs::create_directories(staging / "b.zip" / "inside");

    EXPECT_THROW(stage({package(L"a.zip"), package(L"b.zip")}), KelApiException);

    EXPECT_THAT(stagedNames(), UnorderedElementsAre("a.zip", "b.zip"));
}

TEST_F(UpdatePackages, ThatAreDamagedAreNotStaged) {
    writeZip(updates / "a.zip", {"a"});
    writeZip(updates / "b.zip", {"content"});
    std::string bytes = folder.read("Update/b.zip");
    bytes.replace(bytes.find("contentcontent") + 7, 1, "C");
    folder.write("Update/b.zip", bytes);

    const std::wstring message = messageOf([&] { stage({package(L"a.zip"), package(L"b.zip")}); });

    EXPECT_THAT(message, EndsWith(L"/b.zip\": entry \"content\" cannot be read: CRC error"));
    EXPECT_THAT(stagedNames(), IsEmpty());
}

TEST_F(UpdatePackages, CannotHaveTheNamesOfUnfinishedFiles) {
    const auto name = Platform::UnfinishedFile("a.zip").partial;
    writeZip(updates / name, {"a"});

    EXPECT_THAT(messageFor(Platform::fromPath(name)),
                EndsWith(L": only unfinished files have such a name"));
}

TEST_F(UpdatePackages, OfAKilledProcessAreCleanedUp) {
    writeZip(updates / "a.zip", {"a"});
    const auto left =
        Quarlen::Tests::ofAKilledProcess(Platform::UnfinishedFile(staging / "a.zip").partial);
    folder.write("data/staging/" + left.filename().string(), "half");

    stage({package(L"a.zip")});

    EXPECT_THAT(stagedNames(), ElementsAre("a.zip"));
}

TEST_F(UpdatePackages, AreTracedWithTheirHash) {
    writeZip(updates / "a.zip", {"a"});
    const auto info = package(L"a.zip");
    const Quarlen::Tests::TraceCapture traces;

    stage({info});

    ASSERT_EQ(traces.lines().size(), 1U);
    EXPECT_EQ(traces.lines()[0].text,
              L"update package \"" + info->packagePath + L"\" is staged: " + info->message);
}

TEST_F(UpdatePackages, AreStagedByTwoThreadsAtOnce) {
    writeZip(updates / "a.zip", std::vector<std::string>(1, "entry"));
    const auto stageOften = [&] {
        for (int round = 0; round < 20; ++round) {
            stage({package(L"a.zip")});
        }
    };

    std::thread other(stageOften);
    EXPECT_NO_THROW(stageOften());
    other.join();

    EXPECT_EQ(folder.read("data/staging/a.zip"), folder.read("Update/a.zip"));
    EXPECT_THAT(stagedNames(), ElementsAre("a.zip"));
}

TEST_F(UpdatePackages, AreDescribedInTheirOrder) {
    const auto first = Platform::fromPath(writeZip(updates / "a.pdx", {"x.odx", "y.bin"}));
    const auto second = Platform::fromPath(writeZip(updates / "b.zip", {"z"}));
    RecordList<UpdateDescription> descriptions(3);

    describeUpdatePackages({first, second}, descriptions);

    ASSERT_EQ(descriptions.size(), 2U);
    EXPECT_EQ(descriptions[0]->packagePath, first);
    EXPECT_THAT(descriptions[0]->entries, ElementsAre(L"x.odx", L"y.bin"));
    EXPECT_EQ(descriptions[1]->packagePath, second);
    EXPECT_THAT(descriptions[1]->entries, ElementsAre(L"z"));
}

TEST_F(UpdatePackages, OfTheExampleFlashDataAreDescribedWithAllTheirFiles) {
    RecordList<UpdateDescription> descriptions;

    describeUpdatePackages({Platform::fromPath(Quarlen::Tests::flashDataFolder() / "engine.pdx")},
                           descriptions);

    ASSERT_EQ(descriptions.size(), 1U);
    EXPECT_THAT(descriptions[0]->entries,
                ElementsAre(L"index.xml", L"engine_app.bin", L"engine_data.bin"));
}

TEST_F(UpdatePackages, ThatCannotBeReadAreDescribedByTheirNameAndCauseBesideTheGoodOnes) {
    const auto good = Platform::fromPath(writeZip(updates / "a.zip", {"a"}));
    const auto broken = writeZip(updates / "b.zip", {"one", "two", "three"});
    fs::resize_file(broken, fs::file_size(broken) - 30);
    const std::wstring noPath(L"a.zip\0b", 7);
    RecordList<UpdateDescription> descriptions;

    describeUpdatePackages({Platform::fromPath(broken), noPath, good}, descriptions);

    ASSERT_EQ(descriptions.size(), 3U);
    EXPECT_EQ(descriptions[0]->packagePath, Platform::fromPath(broken));
    EXPECT_THAT(descriptions[0]->entries, IsEmpty());
    EXPECT_THAT(descriptions[0]->message,
                StartsWith(L"update package \"" + Platform::fromPath(broken) + L"\": "));
    EXPECT_THAT(descriptions[1]->message, EndsWith(L": its path contains a null character"));
    EXPECT_THAT(descriptions[2]->entries, ElementsAre(L"a"));
    EXPECT_EQ(descriptions[2]->message, L"");
}

TEST_F(UpdatePackages, ThatAreDamagedAreDescribedByTheirCauseAlone) {
    const auto file = writeZip(updates / "a.zip", {"content"});
    std::string bytes = folder.read("Update/a.zip");
    bytes.replace(bytes.find("contentcontent") + 7, 1, "C");
    folder.write("Update/a.zip", bytes);
    RecordList<UpdateDescription> descriptions;

    describeUpdatePackages({Platform::fromPath(file)}, descriptions);

    EXPECT_THAT(descriptions[0]->message,
                EndsWith(L"\": entry \"content\" cannot be read: CRC error"));
    EXPECT_THAT(descriptions[0]->entries, IsEmpty());
}

TEST_F(UpdatePackages, ThatCannotBeReadAreTracedAsErrors) {
    const Quarlen::Tests::TraceCapture traces;
    RecordList<UpdateDescription> descriptions;

    describeUpdatePackages({L"none.zip"}, descriptions);

    ASSERT_EQ(traces.lines().size(), 1U);
    EXPECT_EQ(traces.lines()[0].level, StdUtil::TraceLevel::Error);
    EXPECT_EQ(traces.lines()[0].text,
              L"update package \"none.zip\": there is no regular file of this name");
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
