#include "tests/support/ConfigFolder.hpp"

#include <atomic>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "tests/support/TestPaths.hpp"

namespace Quarlen::Tests {

namespace {

std::filesystem::path newFolder() {
    static std::atomic<unsigned> count{0};
    const std::string name = "kel_runtime_test_" + std::to_string(std::random_device{}()) + "_" +
                             std::to_string(++count);
    const auto folder = std::filesystem::temp_directory_path() / name;
    std::filesystem::create_directories(folder);
    return folder;
}

} // namespace

ConfigFolder::ConfigFolder() : ConfigFolder(newFolder()) {}

ConfigFolder::ConfigFolder(std::filesystem::path base) : folder(std::move(base)) {
    std::filesystem::copy(examplesFolder(), config(), std::filesystem::copy_options::recursive);
    replaceIn("KelServer.xml", "<Tracing enabled=\"true\"", "<Tracing enabled=\"false\"");
}

ConfigFolder::~ConfigFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(config(), ignored);
    std::filesystem::remove(folder, ignored); // unless somebody else has something there
}

void ConfigFolder::write(const std::filesystem::path& relativePath,
                         std::string_view content) const {
    const auto path = config() / relativePath;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary)
        .write(content.data(), static_cast<std::streamsize>(content.size()));
}

std::string ConfigFolder::read(const std::filesystem::path& relativePath) const {
    std::ifstream file(config() / relativePath, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void ConfigFolder::replaceIn(const std::filesystem::path& relativePath, const std::string& text,
                             const std::string& replacement) const {
    std::string content = read(relativePath);
    const auto at = content.find(text);
    if (at == std::string::npos) {
        throw std::invalid_argument(relativePath.string() + " does not hold: " + text);
    }
    write(relativePath, content.replace(at, text.size(), replacement));
}

} // namespace Quarlen::Tests
