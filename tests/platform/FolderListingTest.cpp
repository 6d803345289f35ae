#include "platform/FolderListing.hpp"

#include <algorithm>
#include <string>

#include <gmock/gmock.h>

#include "platform/FileActions.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Platform::Tests {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class FolderListing : public testing::Test {
protected:
    static std::vector<std::string> sortedNames(const std::filesystem::path& folder) {
        std::error_code failure;
        std::vector<std::string> names;
        for (const std::filesystem::path& entry : listFolder(folder, failure)) {
            EXPECT_EQ(entry.parent_path(), folder);
            names.push_back(entry.filename().string());
        }
        EXPECT_FALSE(failure) << failure.message();
        std::sort(names.begin(), names.end());
        return names;
    }

    static std::error_code failureOf(const std::filesystem::path& folder) {
        std::error_code failure;
        EXPECT_THAT(listFolder(folder, failure), IsEmpty());
        return failure;
    }

    Quarlen::Tests::TemporaryFolder folder;
};

TEST_F(FolderListing, HasFilesAndFoldersAndNotTheFolderItself) {
    folder.write("b.xml", "");
    folder.write("a/inner.xml", "");

    EXPECT_THAT(sortedNames(folder.path()), ElementsAre("a", "b.xml"));
}

TEST_F(FolderListing, OfAnEmptyFolderIsEmpty) {
    EXPECT_THAT(sortedNames(folder.path()), IsEmpty());
}

TEST_F(FolderListing, IsWholeWhereTheFolderHasManyEntries) {
    for (int number = 0; number < 300; ++number) {
        folder.write(std::to_string(number), "");
    }

    EXPECT_EQ(sortedNames(folder.path()).size(), 300U);
}

/// The lengths around every limit that a system or a library ever had.
TEST_F(FolderListing, IsThatOfTheFolderAtEveryLengthOfItsPath) {
    for (const std::size_t length : {230U, 246U, 247U, 248U, 257U, 258U, 259U, 260U, 261U, 700U}) {
        std::filesystem::path deep = folder.path();
        while (deep.native().size() + 1 < length) {
            const std::size_t left = length - deep.native().size() - 1;
            deep /= std::string(left > 150 ? 100 : left, 'n');
        }
        ASSERT_EQ(deep.native().size(), length);
        createFolders(deep / "entry");

        EXPECT_THAT(sortedNames(deep), ElementsAre("entry")) << length;
    }
}

TEST_F(FolderListing, TellsThatThereIsNoSuchFolder) {
    EXPECT_EQ(failureOf(folder.path() / "none"), std::errc::no_such_file_or_directory);
    EXPECT_EQ(failureOf(folder.path() / "none" / "deeper"), std::errc::no_such_file_or_directory);
    EXPECT_EQ(failureOf(std::filesystem::path()), std::errc::no_such_file_or_directory);
}

TEST_F(FolderListing, TellsThatItIsOfNoFolder) {
    const std::error_code failure = failureOf(folder.write("file", ""));

    EXPECT_TRUE(failure == std::errc::not_a_directory ||
                failure == std::errc::no_such_file_or_directory)
        << failure.message();
}

} // namespace

} // namespace Quarlen::Platform::Tests
