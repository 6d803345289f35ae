#include "config/ScriptFile.hpp"

#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/config/ParseScript.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Config::Tests {
namespace {

class Collector : public Xml::Receiver {
public:
    void text(std::string_view part) override { collected += part; }

    std::string collected;
};

class ScriptFile : public testing::Test {
protected:
    std::wstring causeFor(const std::filesystem::path& file) {
        return causeOfFault([&] { readXmlFile(file, collector); });
    }

    Quarlen::Tests::TemporaryFolder folder;
    Collector collector;
};

TEST_F(ScriptFile, IsReadWholeInManyParts) {
    std::string content;
    for (int number = 0; number < 200'000; ++number) {
        content += std::to_string(number) + "\xC3\xBC ";
    }

    EXPECT_EQ(causeFor(folder.write("a.xml", "<a>" + content + "</a>")), L"");

    EXPECT_EQ(collector.collected, content);
}

TEST_F(ScriptFile, IsARegularFile) {
    EXPECT_EQ(causeFor(folder.path()), L"there is no regular file of this name");
    EXPECT_EQ(causeFor(folder.path() / "none.xml"), L"there is no regular file of this name");
}

TEST_F(ScriptFile, MayHaveTheLargestSizeAndNoByteMore) {
    const std::string begin = "<a>";
    const std::string end = "</a>";
    std::string content = begin + std::string(maxFileSize - begin.size() - end.size(), 'x') + end;
    const auto file = folder.write("large.xml", content);

    EXPECT_EQ(causeFor(file), L"");
    EXPECT_EQ(collector.collected.size(), maxFileSize - begin.size() - end.size());
    std::filesystem::resize_file(file, maxFileSize + 1);
    EXPECT_EQ(causeFor(file), L"the file is larger than 64 MiB");
}

TEST_F(ScriptFile, IsRefusedWhenItIsNotComplete) {
    EXPECT_EQ(causeFor(folder.write("a.xml", "<a>")), L"the file ends too early, expected '</a>'");
    EXPECT_EQ(causeFor(folder.write("b.xml", "")), L"no element found");
}

} // namespace
} // namespace Config::Tests
