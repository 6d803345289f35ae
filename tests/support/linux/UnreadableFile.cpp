#include "tests/support/UnreadableFile.hpp"

#include <utility>

#include "tests/support/linux/OrdinaryUser.hpp"

namespace Quarlen::Tests {

struct UnreadableFile::Hold {
    explicit Hold(std::filesystem::path locked) : file(std::move(locked)) {
        std::filesystem::permissions(file, std::filesystem::perms::none);
        user = std::make_unique<OrdinaryUser>();
    }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;
    ~Hold() {
        user.reset();
        std::error_code ignored;
        std::filesystem::permissions(file, std::filesystem::perms::owner_all, ignored);
    }

    std::filesystem::path file;
    std::unique_ptr<OrdinaryUser> user{};
};

UnreadableFile::UnreadableFile(const std::filesystem::path& file)
    : hold(std::make_unique<Hold>(file)) {}

UnreadableFile::~UnreadableFile() = default;

} // namespace Quarlen::Tests
