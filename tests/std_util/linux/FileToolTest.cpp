#include "std_util/FileTool.hpp"

#include <string>
#include <system_error>

#include <gtest/gtest.h>

namespace StdUtil::Tests {
namespace {

TEST(FileToolOnLinux, ReadsAFileThatAnnouncesNoSize) {
    const PathString status(L"/proc/self/status");
    EXPECT_TRUE(FileTool::existsAndIsNotEmpty(status));
    EXPECT_TRUE(FileTool::readFile(status).starts_with("Name:"));
}

TEST(FileToolOnLinux, LeavesDevicesAlone) {
    EXPECT_FALSE(FileTool::exists(L"/dev/zero"));
    try {
        FileTool::readFile(L"/dev/zero");
        FAIL() << "a device was read";
    } catch (const std::system_error& error) {
        EXPECT_NE(std::string(error.what()).find("/dev/zero"), std::string::npos);
    }
}

} // namespace
} // namespace StdUtil::Tests
