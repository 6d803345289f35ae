#pragma once

#include <filesystem>
#include <string>

namespace Quarlen::Tests {

/// A folder of its own for one test, removed with its content at the end.
class TemporaryFolder {
public:
    TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder();

    [[nodiscard]] const std::filesystem::path& path() const { return folder; }

    /// Writes the file anew, with the folders that it needs, and returns its path.
    std::filesystem::path write(const std::string& name, const std::string& content) const;
    [[nodiscard]] std::string read(const std::string& name) const;

private:
    std::filesystem::path folder;
};

} // namespace Quarlen::Tests
