#include "tests/support/TemporaryFolder.hpp"

#include <fstream>
#include <iterator>
#include <random>

#include "platform/FileActions.hpp"
#include "platform/Paths.hpp"
#include "platform/TextEncoding.hpp"

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
    Platform::removeFolder(folder);
}

std::filesystem::path TemporaryFolder::write(const std::string& name,
                                             const std::string& content) const {
    const std::filesystem::path file = inside(name);
    Platform::createFolders(file.parent_path());
    std::ofstream(Platform::openablePath(file), std::ios::binary | std::ios::trunc) << content;
    return file;
}

std::string TemporaryFolder::read(const std::string& name) const {
    std::ifstream file(Platform::openablePath(inside(name)), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::filesystem::path TemporaryFolder::inside(const std::string& name) const {
    return (folder / Platform::toPath(Platform::fromUtf8(name))).make_preferred();
}

bool makeLink(const std::filesystem::path& target, const std::filesystem::path& link) {
    std::error_code failure;
    if (std::filesystem::is_directory(link.parent_path() / target, failure)) {
        std::filesystem::create_directory_symlink(target, link, failure);
    } else {
        std::filesystem::create_symlink(target, link, failure);
    }
    return std::filesystem::is_symlink(link, failure);
}

} // namespace Quarlen::Tests
