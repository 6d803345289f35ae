#include "tests/support/TemporaryFolder.hpp"

#include <fstream>
#include <iterator>
#include <random>

namespace Quarlen::Tests {

namespace {

std::filesystem::path newFolder() {
    std::random_device random;
    std::filesystem::path candidate;
    do {
        candidate = std::filesystem::temp_directory_path() /
                    ("kel_test_" + std::to_string(random()) + std::to_string(random()));
    } while (!std::filesystem::create_directory(candidate));
    return candidate;
}

} // namespace

TemporaryFolder::TemporaryFolder() : folder(newFolder()) {}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

std::filesystem::path TemporaryFolder::write(const std::string& name,
                                             const std::string& content) const {
    const std::filesystem::path file = folder / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary | std::ios::trunc) << content;
    return file;
}

std::string TemporaryFolder::read(const std::string& name) const {
    std::ifstream file(folder / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

} // namespace Quarlen::Tests
