#include "kel_server/Usage.hpp"

#include <sstream>

#include <gtest/gtest.h>

namespace Quarlen {

namespace {

std::string usageOf(const std::wstring& programPath) {
    std::ostringstream output;
    Platform::Console console(output);
    printUsage(console, programPath);
    return output.str();
}

TEST(Usage, IsTheSameToTheByte) {
    EXPECT_EQ(usageOf(L"/opt/kel/kel_server"),
              "Usage: \n"
              " kel_server <adapter name or ip address> <port number>\n"
              "\t example: \n"
              " kel_server 192.168.178.1 58005\n"
              "\t or \n"
              " kel_server eth0\n"
              "\t port number is optional parameter, default value is 58000 \n"
              "\n"
              "\t or add the following to the KelServer.xml\r\n"
              " <ServerAddresses >\r\n"
              "  <ServerAddress>\r\n"
              "   <IpAddress>eth0</IpAddress>\r\n"
              "   <Port>58000</Port>\r\n"
              "  </ServerAddress>\r\n"
              "  <ServerAddress>\r\n"
              "   <IpAddress>wlan0</IpAddress>\r\n"
              "   <Port>58000</Port>\r\n"
              "  </ServerAddress>\r\n"
              " </ServerAddresses>\n"
              "\n"
              "Add --delayedStart parameter if you want a 2 second wait before starting server "
              "(possible after restart)\n");
}

TEST(Usage, ShowsTheProgramNameInUtf8) {
    EXPECT_NE(usageOf(L"./s\u00E9rveur").find("\n s\xC3\xA9rveur eth0\n"), std::string::npos);
}

TEST(Usage, GoesWithoutAProgramName) {
    EXPECT_NE(usageOf(L"").find("\n  eth0\n"), std::string::npos);
}

} // namespace

} // namespace Quarlen
