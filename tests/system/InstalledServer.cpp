#include "tests/system/InstalledServer.hpp"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <system_error>

#include "tests/support/TestPaths.hpp"

namespace Quarlen::Tests {

namespace {

std::filesystem::path createFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "kel_server_XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), pattern);
    }
    return pattern;
}

} // namespace

InstalledServer::InstalledServer() : folder(createFolder()) {
    std::filesystem::copy_file(KEL_SERVER_PROGRAM, program());
    std::filesystem::create_directory(config());
}

InstalledServer::~InstalledServer() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

void InstalledServer::configure(const std::string& elements) const {
    writeConfigFile("KelServer.xml", "<KelServer>\n" + elements + "\n</KelServer>\n");
}

void InstalledServer::writeConfigFile(const std::string& name, const std::string& content) const {
    const auto file = config() / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
}

std::string InstalledServer::readConfigFile(const std::string& name) const {
    std::ifstream file(config() / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void InstalledServer::useExampleConfig() const {
    std::filesystem::copy(Quarlen::Tests::examplesFolder(), config(),
                          std::filesystem::copy_options::recursive |
                              std::filesystem::copy_options::overwrite_existing);
    std::filesystem::create_directories(config() / "data");
    std::filesystem::copy(Quarlen::Tests::flashDataFolder(), config() / "data" / "flashdata",
                          std::filesystem::copy_options::recursive |
                              std::filesystem::copy_options::overwrite_existing);
}

Process InstalledServer::start(const std::vector<std::string>& arguments, Stdio stdio) const {
    return Process({.program = program(), .arguments = arguments, .stdio = stdio});
}

std::string usageText(const std::string& name) {
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
