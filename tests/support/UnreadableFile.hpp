#pragma once

#include <filesystem>
#include <memory>

namespace Quarlen::Tests {

/// Keeps the system from opening a file, root's included, as long as it lives: it is still there
/// and tells its size.
class UnreadableFile {
public:
    explicit UnreadableFile(const std::filesystem::path& file);
    UnreadableFile(const UnreadableFile&) = delete;
    UnreadableFile& operator=(const UnreadableFile&) = delete;
    ~UnreadableFile();

private:
    struct Hold;
    std::unique_ptr<Hold> hold;
};

} // namespace Quarlen::Tests
