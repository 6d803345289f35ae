#include "platform/StreamError.hpp"

#include <cerrno>
#include <fstream>

#include <gtest/gtest.h>

#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Platform::Tests {

TEST(StreamError, IsWhatTheSystemSaysOfAFileThatCannotBeOpened) {
    const Quarlen::Tests::TemporaryFolder folder;
    errno = 0;
    const std::ifstream stream(folder.path() / "none");

    EXPECT_EQ(streamError(), std::errc::no_such_file_or_directory);
}

TEST(StreamError, IsOneOfInputAndOutputWhereTheSystemLeavesNone) {
    errno = 0;

    EXPECT_EQ(streamError(), std::errc::io_error);
}

} // namespace Quarlen::Platform::Tests
