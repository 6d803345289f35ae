#include <string>

#include <gtest/gtest.h>

#include "platform/AtomicFile.hpp"
#include "platform/FileActions.hpp"
#include "platform/FlushFile.hpp"
#include "platform/NewFile.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Platform::Tests {

namespace {

/// Folders whose names put a path beyond the lengths and letters that were common once.
class UnusualPaths : public testing::TestWithParam<std::string> {
protected:
    UnusualPaths() { createFolders(folder.inside(GetParam())); }

    [[nodiscard]] std::string name() const { return GetParam() + "/KelServer.xml"; }

    Quarlen::Tests::TemporaryFolder folder;
};

TEST_P(UnusualPaths, TakeANewFile) {
    EXPECT_TRUE(createNewFile(folder.inside(name()), "first"));
    EXPECT_FALSE(createNewFile(folder.inside(name()), "second"));
    EXPECT_EQ(folder.read(name()), "first");
}

TEST_P(UnusualPaths, TakeAFileThatIsReplacedAndFlushed) {
    replaceFile(folder.inside(name()), "first");
    replaceFile(folder.inside(name()), "second");
    flushFile(folder.inside(name()));

    EXPECT_EQ(folder.read(name()), "second");
}

std::string deepFolder() {
    std::string path = "deep";
    while (path.size() < 300) {
        path += "/fifty characters make one of the names of this path";
    }
    return path;
}

INSTANTIATE_TEST_SUITE_P(Folders, UnusualPaths,
                         testing::Values("\xC3\x9C"
                                         "bung \xD0\x9A\xD0\x95\xD0\x9B",
                                         "\xF0\x9F\x9A\x97", deepFolder()));

} // namespace

} // namespace Quarlen::Platform::Tests
