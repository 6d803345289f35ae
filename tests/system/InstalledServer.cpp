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
    std::filesystem::copy_file(serverProgram(), program());
    std::filesystem::create_directory(config());
}

InstalledServer::~InstalledServer() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

void InstalledServer::configure(const std::string& elements) const {
    writeConfigFile("KelServer.xml", "<KelServer>\n" + elements + "\n</KelServer>\n");
}

void InstalledServer::configureSovd() const {
    configure("<SovdServer port=\"" + std::to_string(freePort()) + "\"/>");
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

} // namespace Quarlen::Tests
