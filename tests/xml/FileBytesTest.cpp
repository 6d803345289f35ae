#include "xml/FileBytes.hpp"

#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>

#include "platform/TextEncoding.hpp"
#include "tests/support/NumberedCause.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "xml/Fault.hpp"

namespace Xml::Tests {
namespace {

using testing::StartsWith;

constexpr std::size_t maxSize = std::size_t{1024} * 1024;

class FileBytes : public testing::Test {
protected:
    /// Empty when the file was read.
    std::string causeFor(const std::filesystem::path& file) {
        try {
            readFile(file, maxSize, [&](std::string_view part) { parts.emplace_back(part); });
        } catch (const Fault& fault) {
            return Quarlen::Platform::toUtf8(fault.cause());
        }
        return {};
    }

    [[nodiscard]] std::string collected() const {
        std::string all;
        for (const auto& part : parts) {
            all += part;
        }
        return all;
    }

    Quarlen::Tests::TemporaryFolder folder;
    std::vector<std::string> parts;
};

TEST_F(FileBytes, AreReadWholeInManyParts) {
    std::string content;
    for (int number = 0; number < 100'000; ++number) {
        content += std::to_string(number) + "\r\n\x1A";
    }

    EXPECT_EQ(causeFor(folder.write("a.xml", content)), "");

    EXPECT_EQ(collected(), content);
    EXPECT_GT(parts.size(), 2U);
}

TEST_F(FileBytes, AreThoseOfARegularFile) {
    const auto isRefusal =
        testing::AllOf(StartsWith("cannot be read: "), Quarlen::Tests::EndsWithANumber());
    EXPECT_THAT(causeFor(folder.path()), isRefusal);
    EXPECT_THAT(causeFor(folder.path() / "none.xml"), isRefusal);
}

TEST_F(FileBytes, MayHaveTheLargestSizeAndNoByteMore) {
    const auto file = folder.write("large.xml", std::string(maxSize, 'x'));

    EXPECT_EQ(causeFor(file), "");
    EXPECT_EQ(collected().size(), maxSize);
    std::filesystem::resize_file(file, maxSize + 1);
    EXPECT_EQ(causeFor(file), "the file is larger than 1 MiB");
    EXPECT_EQ(collected().size(), maxSize);
}

TEST_F(FileBytes, AreNoneOfAnEmptyFile) {
    EXPECT_EQ(causeFor(folder.write("empty.xml", "")), "");
    EXPECT_EQ(collected(), "");
}

} // namespace
} // namespace Xml::Tests
