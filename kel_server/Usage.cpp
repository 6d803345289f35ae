#include "kel_server/Usage.hpp"

#include "platform/TextEncoding.hpp"
#include "std_util/FileTool.hpp"

namespace Quarlen {

void printUsage(Platform::Console& console, const std::wstring& programPath) {
    const std::string name = Platform::toUtf8(StdUtil::FileTool::fileNameFromPath(programPath));
    console.line("Usage: ");
    console.line(" " + name + " <adapter name or ip address> <port number>");
    console.line("\t example: ");
    console.line(" " + name + " 192.168.178.1 58005");
    console.line("\t or ");
    console.line(" " + name + " eth0");
    console.line("\t port number is optional parameter, default value is 58000 ");
    console.line("");
    // One line of output: the CR LF pairs inside it are part of the text on every platform.
    console.line("\t or add the following to the KelServer.xml\r\n"
                 " <ServerAddresses >\r\n"
                 "  <ServerAddress>\r\n"
                 "   <IpAddress>eth0</IpAddress>\r\n"
                 "   <Port>58000</Port>\r\n"
                 "  </ServerAddress>\r\n"
                 "  <ServerAddress>\r\n"
                 "   <IpAddress>wlan0</IpAddress>\r\n"
                 "   <Port>58000</Port>\r\n"
                 "  </ServerAddress>\r\n"
                 " </ServerAddresses>");
    console.line("\nAdd --delayedStart parameter if you want a 2 second wait before starting "
                 "server (possible after restart)");
}

} // namespace Quarlen
