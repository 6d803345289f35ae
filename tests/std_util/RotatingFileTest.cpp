#include "std_util/RotatingFile.hpp"

#include <string>
#include <system_error>
#include <vector>

#include <gmock/gmock.h>

#include "tests/support/TemporaryFolder.hpp"

namespace StdUtil::Tests {

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

/// Renames for real, except so many times; keeps the new names that were wanted.
struct FailingRename {
    bool operator()(const fs::path& from, const fs::path& to) {
        wanted.push_back(to.filename().string());
        if (failures > 0) {
            --failures;
            return false;
        }
        fs::rename(from, to);
        return true;
    }

    std::size_t failures = 0;
    std::vector<std::string> wanted;
};

class RotatingFileTest : public testing::Test {
protected:
    [[nodiscard]] RotatingFile open() {
        return {folder.path() / "trace.log", {10, 2, 4}, std::ref(renaming)};
    }
    [[nodiscard]] std::string content(const std::string& name = "trace.log") const {
        return fs::exists(folder.path() / name) ? folder.read(name) : "missing";
    }

    Quarlen::Tests::TemporaryFolder folder;
    FailingRename renaming;
};

TEST_F(RotatingFileTest, IsPutAsideWhenALineDoesNotFit) {
    RotatingFile file = open();
    file.write("12345");
    file.write("67890");
    EXPECT_EQ(content(), "1234567890");
    EXPECT_EQ(content("trace.1.log"), "missing");
    file.write("a");

    EXPECT_EQ(content(), "a");
    EXPECT_EQ(content("trace.1.log"), "1234567890");
}

TEST_F(RotatingFileTest, BeginsEachFileWithWhatItIsTold) {
    const RotatingFile::Limits limits{10, 2, 4, "head:"};
    {
        RotatingFile file(folder.path() / "trace.log", limits);
        EXPECT_EQ(content(), "head:");
        file.write("12345");
    }
    RotatingFile file(folder.path() / "trace.log", limits);
    file.write("a");

    EXPECT_EQ(content(), "head:a");
    EXPECT_EQ(content("trace.1.log"), "head:12345");
    fs::resize_file(folder.path() / "trace.log", 0);
    file.write("67890");
    EXPECT_EQ(content(), "head:67890");
}

TEST_F(RotatingFileTest, LiesInAFolderOfEveryDepth) {
    const std::string deep = std::string(150, 'n') + "/" + std::string(150, 'm');
    RotatingFile file(folder.path() / deep / "trace.log", {10, 2, 4});
    file.write("1234567890");
    file.write("a");

    EXPECT_EQ(folder.read(deep + "/trace.log"), "a");
    EXPECT_EQ(folder.read(deep + "/trace.1.log"), "1234567890");
}

TEST_F(RotatingFileTest, KeepsTheNewestFormerFiles) {
    RotatingFile file = open();
    for (const char* const line : {"first....", "second...", "third....", "fourth..."}) {
        file.write(line);
    }

    EXPECT_EQ(content(), "fourth...");
    EXPECT_EQ(content("trace.1.log"), "third....");
    EXPECT_EQ(content("trace.2.log"), "second...");
    EXPECT_EQ(content("trace.3.log"), "missing");
}

TEST_F(RotatingFileTest, CountsWhatWasInTheFileBefore) {
    folder.write("trace.log", "12345678");
    RotatingFile file = open();
    file.write("abc");

    EXPECT_EQ(content(), "abc");
    EXPECT_EQ(content("trace.1.log"), "12345678");
}

TEST_F(RotatingFileTest, GoesOnInTheSameFileWhileItCannotBePutAside) {
    renaming.failures = 3;
    RotatingFile file = open();
    file.write("12345678");
    for (const char* const line : {"abc", "def", "ghi"}) {
        file.write(line);
    }
    EXPECT_EQ(content(), "12345678abcdefghi");
    file.write("jkl");

    EXPECT_EQ(content(), "jkl");
    EXPECT_EQ(content("trace.1.log"), "12345678abcdefghi");
}

TEST_F(RotatingFileTest, TriesAgainOnlyAfterTheFileHasGrown) {
    renaming.failures = 100;
    RotatingFile file = open();
    file.write("1234567890");
    for (int count = 0; count < 16; ++count) {
        file.write("x");
    }

    EXPECT_THAT(renaming.wanted, testing::SizeIs(4));
}

TEST_F(RotatingFileTest, WaitsForTheWholeSizeOnceItWasPutAside) {
    renaming.failures = 1;
    RotatingFile file = open();
    file.write("1234567890");
    file.write("abcd");
    file.write("e");
    ASSERT_EQ(content(), "e");
    renaming.wanted.clear();
    file.write("fghijklmn");

    EXPECT_THAT(renaming.wanted, IsEmpty());
}

TEST_F(RotatingFileTest, KeepsAFormerFileThatCannotMakeRoom) {
    folder.write("trace.1.log", "held");
    renaming.failures = 1;
    RotatingFile file = open();
    file.write("1234567890");
    file.write("a");

    EXPECT_THAT(renaming.wanted, ElementsAre("trace.2.log"));
    EXPECT_EQ(content("trace.1.log"), "held");
    EXPECT_EQ(content(), "1234567890a");
}

TEST_F(RotatingFileTest, IsNotPutAsideWhileItIsEmpty) {
    folder.write("trace.1.log", "former");
    RotatingFile file = open();
    file.write("longer than a whole file");

    EXPECT_EQ(content(), "longer than a whole file");
    EXPECT_EQ(content("trace.1.log"), "former");
}

TEST_F(RotatingFileTest, IsNotPutAsideWhereSomebodyHasEmptiedIt) {
    RotatingFile file = open();
    file.write("1234567890");
    folder.write("trace.log", "");
    file.write("abc");

    EXPECT_EQ(content(), "abc");
    EXPECT_THAT(renaming.wanted, IsEmpty());
}

TEST_F(RotatingFileTest, CreatesTheFolderThatIsMissing) {
    RotatingFile file(folder.path() / "one" / "two" / "trace", {10, 2, 4});
    file.write("1234567890");
    file.write("a");

    EXPECT_EQ(content("one/two/trace"), "a");
    EXPECT_EQ(content("one/two/trace.1"), "1234567890");
}

TEST_F(RotatingFileTest, ThrowsWhenItCannotBeOpened) {
    fs::create_directory(folder.path() / "trace.log");

    EXPECT_THROW((void)open(), std::system_error);
}

} // namespace

} // namespace StdUtil::Tests
