#include "platform/FileFacts.hpp"

#include <string>

#include <gtest/gtest.h>

#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Platform::Tests {

namespace {

std::string deepName() {
    const std::string part(100, 'n');
    return part + "/" + part + "/" + part + "/a.xml";
}

class FactsOfAFile : public testing::Test {
protected:
    static FileFacts factsOf(const std::filesystem::path& path) {
        std::error_code failure;
        const FileFacts facts = fileFacts(path, failure);
        EXPECT_EQ(static_cast<bool>(failure), facts.kind == FileKind::Missing);
        return facts;
    }

    Quarlen::Tests::TemporaryFolder folder;
};

TEST_F(FactsOfAFile, AreItsKindItsSizeAndTheTimeOfItsLastChange) {
    using namespace std::chrono_literals;
    for (const std::string& name : {std::string("a.xml"), deepName()}) {
        const FileFacts facts = factsOf(folder.write(name, "content"));
        EXPECT_EQ(facts.kind, FileKind::Regular);
        EXPECT_EQ(facts.size, 7U);
        EXPECT_LT(facts.written, std::chrono::system_clock::now() + 1h);
        EXPECT_GT(facts.written, std::chrono::system_clock::now() - 1h);
    }
}

TEST_F(FactsOfAFile, TellAFolder) {
    EXPECT_EQ(factsOf(folder.path()).kind, FileKind::Folder);
    EXPECT_EQ(factsOf(folder.write(deepName(), "").parent_path()).kind, FileKind::Folder);
}

TEST_F(FactsOfAFile, TellThatThereIsNone) {
    std::error_code failure;
    EXPECT_EQ(fileFacts(folder.path() / "none", failure).kind, FileKind::Missing);
    EXPECT_EQ(failure, std::errc::no_such_file_or_directory);
    EXPECT_EQ(factsOf(folder.path() / "none" / "a.xml").kind, FileKind::Missing);
    EXPECT_EQ(factsOf(std::filesystem::path()).kind, FileKind::Missing);
}

TEST_F(FactsOfAFile, AreThoseOfWhatALinkLeadsTo) {
    const auto link = folder.path() / "link";
    if (!Quarlen::Tests::makeLink(folder.write("a.xml", "content"), link)) {
        GTEST_SKIP() << Quarlen::Tests::noLinks; // Windows keeps them to some users
    }
    EXPECT_EQ(factsOf(link).kind, FileKind::Regular);
    EXPECT_EQ(factsOf(link).size, 7U);
    EXPECT_TRUE(isLink(link));
}

TEST_F(FactsOfAFile, AnswerWhoAsksForOneKind) {
    const auto file = folder.write(deepName(), "");

    EXPECT_TRUE(isRegularFile(file));
    EXPECT_FALSE(isFolder(file));
    EXPECT_FALSE(isLink(file));
    EXPECT_TRUE(isFolder(file.parent_path()));
    EXPECT_FALSE(isRegularFile(file.parent_path()));
    EXPECT_TRUE(isThere(file));
    EXPECT_TRUE(isThere(file.parent_path()));
    EXPECT_FALSE(isThere(file.parent_path() / "none"));
    EXPECT_FALSE(isLink(file.parent_path() / "none"));
}

} // namespace

} // namespace Quarlen::Platform::Tests
