#include "xml/FileBytes.hpp"

#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "xml/Fault.hpp"

namespace Xml::Tests {
namespace {

TEST(FileBytesOnLinux, AreReadToTheEndWhereTheFileAnnouncesNoSize) {
    std::string content;
    readFile("/proc/self/status", 1024 * 1024, [&](std::string_view part) { content += part; });

    EXPECT_TRUE(content.starts_with("Name:"));
    EXPECT_TRUE(content.ends_with("\n"));
}

TEST(FileBytesOnLinux, AreNoMoreThanTheyMayBeWhateverTheFileAnnounces) {
    EXPECT_THROW(readFile("/proc/self/status", 16, [](std::string_view) {}), Fault);
}

} // namespace
} // namespace Xml::Tests
