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

    /// The path of something in it; UTF-8, with "/" between components.
    [[nodiscard]] std::filesystem::path inside(const std::string& name) const;
    /// Writes the file anew, with the folders that it needs, and returns its path.
    std::filesystem::path write(const std::string& name, const std::string& content) const;
    [[nodiscard]] std::string read(const std::string& name) const;

private:
    std::filesystem::path folder;
};

/// False where symbolic links cannot be made: Windows keeps them to some users, and not every
/// standard library there knows them. A relative target counts from the link's folder.
[[nodiscard]] bool makeLink(const std::filesystem::path& target, const std::filesystem::path& link);
constexpr const char* noLinks =
    "this system, or its standard library, lets this user make no symbolic links";

} // namespace Quarlen::Tests
