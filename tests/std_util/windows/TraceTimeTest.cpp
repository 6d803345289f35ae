#include <gtest/gtest.h>

#include "std_util/TraceWriter.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/windows/TimeZoneVariable.hpp"

namespace StdUtil::Tests {

namespace {

std::string lineWritten() {
    const Quarlen::Tests::TemporaryFolder folder;
    const auto moment = std::chrono::system_clock::from_time_t(86'400);
    TraceWriter(folder.path() / "trace.log")
        .write({{moment, {TraceLevel::Info, L"Source", 1, L"text"}}});
    return folder.read("trace.log");
}

TEST(TraceTimeOnWindows, OfALineDoesNotFollowTheVariableTz) {
    const std::string before = lineWritten();
    const Quarlen::Tests::TimeZoneVariable variable("KEL-5:30");

    EXPECT_EQ(lineWritten(), before);
}

} // namespace

} // namespace StdUtil::Tests
