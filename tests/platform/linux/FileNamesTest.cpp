#include "platform/FileNames.hpp"

#include <climits>
#include <string>

#include <gtest/gtest.h>

namespace Quarlen::Platform::Tests {

namespace {

class FileName : public testing::TestWithParam<std::string> {};
class NoFileName : public testing::TestWithParam<std::string> {};

TEST_P(FileName, CouldBeAFile) {
    EXPECT_TRUE(couldNameFile(GetParam()));
}
TEST_P(NoFileName, CouldNotBeAFile) {
    EXPECT_FALSE(couldNameFile(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Paths, FileName,
                         testing::Values("a", "a.xml", "/a/b c/d", "../a", "a:b*?", "...",
                                         std::string(NAME_MAX, 'n')));
INSTANTIATE_TEST_SUITE_P(Paths, NoFileName,
                         testing::Values("", "/", "folder/", ".", "..", "a/..",
                                         std::string("a\0b", 3), std::string(NAME_MAX + 1, 'n'),
                                         std::string(NAME_MAX + 1, 'n') + "/a"));

TEST(FileName, IsTakenLiterally) {
    for (const char* const name : {"a.", "a ", "a.zip:b", "nul", "COM1", "", "..", "a?"}) {
        EXPECT_TRUE(isTakenLiterally(name)) << name;
    }
}

TEST(FileName, IsComparedWithRegardToCase) {
    EXPECT_TRUE(isSameFileName("e.zip", "e.zip"));
    EXPECT_FALSE(isSameFileName("e.zip", "E.ZIP"));
}

TEST(FileName, IsCountedWithItsWholePath) {
    std::string path = "f";
    while (path.size() < PATH_MAX) {
        path.insert(0, "folder/");
    }
    EXPECT_FALSE(couldNameFile(path));
    EXPECT_TRUE(couldNameFile(path.substr(path.size() - PATH_MAX / 2)));
}

} // namespace

} // namespace Quarlen::Platform::Tests
