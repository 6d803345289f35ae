#pragma once

#include <string>

namespace Quarlen::Tests {

/// The whole usage text of a program with this name, as people see it: byte for byte.
inline std::string usageText(const std::string& name) {
    return "Usage: \n " + name + " <adapter name or ip address> <port number>\n\t example: \n " +
           name + " 192.168.178.1 58005\n\t or \n " + name +
           " eth0\n"
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
           "(possible after restart)\n";
}

} // namespace Quarlen::Tests
