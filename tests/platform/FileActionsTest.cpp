#include "platform/FileActions.hpp"

#include <functional>
#include <string>
#include <system_error>

#include <gtest/gtest.h>

#include "platform/FileFacts.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Platform::Tests {

namespace {

/// A folder near by, and one whose path is longer than many calls take.
class FileActions : public testing::TestWithParam<std::string> {
protected:
    [[nodiscard]] std::string name(const std::string& file) const { return GetParam() + file; }
    [[nodiscard]] std::filesystem::path inside(const std::string& file) const {
        return folder.inside(name(file));
    }

    Quarlen::Tests::TemporaryFolder folder;
};

std::error_code causeOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const std::system_error& error) {
        return error.code();
    }
    return {};
}

TEST_P(FileActions, MakeAFolderWithThoseThatItLiesIn) {
    createFolders(inside("a/b"));
    createFolders(inside("a/b"));
    createFolders(inside("c/"));

    EXPECT_TRUE(isFolder(inside("a/b")));
    EXPECT_TRUE(isFolder(inside("c")));
}

TEST_P(FileActions, MakeNoFolderWhereAFileIs) {
    folder.write(name("a"), "content");

    EXPECT_THROW(createFolders(inside("a")), std::system_error);
    EXPECT_THROW(createFolders(inside("a/b")), std::system_error);
    EXPECT_THROW(createFolders(std::filesystem::path()), std::system_error);
}

TEST_P(FileActions, TellThatAFileIsNoFolder) {
    folder.write(name("a"), "content");

    EXPECT_EQ(causeOf([&] { createFolders(inside("a")); }), std::errc::not_a_directory);
    EXPECT_EQ(causeOf([&] { createFolders(inside("a/b")); }), std::errc::not_a_directory);
}

TEST_P(FileActions, CopyAFileOverAnother) {
    folder.write(name("a"), "content");
    folder.write(name("b"), "longer, and older");

    copyFile(inside("a"), inside("b"));

    EXPECT_EQ(folder.read(name("b")), "content");
    EXPECT_EQ(folder.read(name("a")), "content");
    EXPECT_THROW(copyFile(inside("none"), inside("b")), std::system_error);
}

TEST_P(FileActions, RenameAFileOverAnother) {
    folder.write(name("a"), "content");
    folder.write(name("b"), "older");

    renameFile(inside("a"), inside("b"));

    EXPECT_EQ(folder.read(name("b")), "content");
    EXPECT_FALSE(isThere(inside("a")));
    EXPECT_THROW(renameFile(inside("a"), inside("b")), std::system_error);
}

TEST_P(FileActions, RemoveAFileWhereThereIsOne) {
    folder.write(name("a"), "content");

    removeFile(inside("a"));
    removeFile(inside("a"));

    EXPECT_FALSE(isThere(inside("a")));
}

TEST_P(FileActions, RemoveAFolderWithItsContent) {
    folder.write(name("a/b/c"), "content");
    folder.write(name("a/d"), "content");

    removeFolder(inside("a"));
    removeFolder(inside("a"));

    EXPECT_FALSE(isThere(inside("a")));
}

TEST_P(FileActions, RemoveALinkButNotWhatItLeadsTo) {
    folder.write(name("kept/file"), "content");
    createFolders(inside("a"));
    if (!Quarlen::Tests::makeLink(inside("kept"), inside("a/link"))) {
        GTEST_SKIP() << Quarlen::Tests::noLinks; // Windows keeps them to some users
    }

    removeFolder(inside("a"));

    EXPECT_FALSE(isThere(inside("a")));
    EXPECT_EQ(folder.read(name("kept/file")), "content");
}

INSTANTIATE_TEST_SUITE_P(Folders, FileActions,
                         testing::Values("", std::string(150, 'n') + "/" + std::string(150, 'm') +
                                                 "/"));

} // namespace

} // namespace Quarlen::Platform::Tests
