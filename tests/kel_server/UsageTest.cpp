#include "kel_server/Usage.hpp"

#include <sstream>

#include <gtest/gtest.h>

#include "tests/support/UsageText.hpp"

namespace Quarlen::Tests {

namespace {

std::string usageOf(const std::wstring& programPath) {
    std::ostringstream output;
    Platform::Console console(output);
    printUsage(console, programPath);
    return output.str();
}

TEST(Usage, IsTheSameToTheByte) {
    EXPECT_EQ(usageOf(L"/opt/kel/kel_server"), Tests::usageText("kel_server"));
}

TEST(Usage, ShowsTheProgramNameInUtf8) {
    EXPECT_NE(usageOf(L"./s\u00E9rveur").find("\n s\xC3\xA9rveur eth0\n"), std::string::npos);
}

TEST(Usage, GoesWithoutAProgramName) {
    EXPECT_NE(usageOf(L"").find("\n  eth0\n"), std::string::npos);
}

} // namespace

} // namespace Quarlen::Tests
