#include "kel_server/Usage.hpp"

#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "kel_server_lib/runtime/SettingsRecords.hpp"
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

TEST(Usage, NamesThePortThatTheProgramTakes) {
    const auto text = usageOf(L"kel_server");
    const auto port = std::to_string(Kel_cpp::ServerAddress::defaultPort);

    EXPECT_NE(text.find("default value is " + port + " \n"), std::string::npos);
    for (const char* const address : {"eth0", "wlan0"}) {
        EXPECT_NE(text.find(std::string(address) + "</IpAddress>\r\n   <Port>" + port + "</Port>"),
                  std::string::npos);
    }
}

TEST(Usage, ShowsTheProgramNameInUtf8) {
    EXPECT_NE(usageOf(L"./s\u00E9rveur").find("\n s\xC3\xA9rveur eth0\n"), std::string::npos);
}

TEST(Usage, GoesWithoutAProgramName) {
    EXPECT_NE(usageOf(L"").find("\n  eth0\n"), std::string::npos);
}

} // namespace

} // namespace Quarlen::Tests
