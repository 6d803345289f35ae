#include "std_util/TraceWriter.hpp"

#include <gmock/gmock.h>

#include "tests/support/TemporaryFolder.hpp"

namespace StdUtil::Tests {

namespace {

using testing::EndsWith;
using testing::MatchesRegex;
using testing::StartsWith;

std::vector<TimedTrace> tracesOf(const std::vector<std::wstring>& texts) {
    std::vector<TimedTrace> traces;
    for (const std::wstring& text : texts) {
        traces.push_back(
            {std::chrono::system_clock::now(), {TraceLevel::Info, L"Source", 1, text}});
    }
    return traces;
}

class TraceWriterTest : public testing::Test {
protected:
    [[nodiscard]] std::filesystem::path file() const { return folder.path() / "trace.log"; }
    [[nodiscard]] std::string written() const { return folder.read("trace.log"); }

    Quarlen::Tests::TemporaryFolder folder;
};

TEST_F(TraceWriterTest, BeginsALineOfItsOwnWhereTheFormerOneWasCutOff) {
    folder.write("trace.log", "cut");
    TraceWriter(file()).write(tracesOf({L"one", L"two"}));

    EXPECT_THAT(written(), MatchesRegex("cut\n.+ Source:1 one\n.+ Source:1 two\n"));
}

TEST_F(TraceWriterTest, BeginsWithoutAnEmptyLine) {
    folder.write("trace.log", "whole\n");
    TraceWriter(file()).write(tracesOf({L"one"}));

    EXPECT_THAT(written(), MatchesRegex("whole\n.+ Source:1 one\n"));
}

TEST_F(TraceWriterTest, WritesEachLineAtOnce) {
    TraceWriter writer(file());
    writer.write(tracesOf({L"one"}));

    EXPECT_THAT(written(), EndsWith(" Source:1 one\n"));
}

} // namespace

} // namespace StdUtil::Tests
