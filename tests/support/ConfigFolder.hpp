#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace Quarlen::Tests {

/// A folder that is removed with its owner, holding "config", a copy of the example configuration
/// in which tracing is off.
class ConfigFolder {
public:
    ConfigFolder();
    /// Makes it in a folder that is there already, beside what else is in it.
    explicit ConfigFolder(std::filesystem::path base);
    ConfigFolder(const ConfigFolder&) = delete;
    ConfigFolder& operator=(const ConfigFolder&) = delete;
    ~ConfigFolder();

    [[nodiscard]] std::filesystem::path base() const { return folder; }
    [[nodiscard]] std::filesystem::path config() const { return folder / "config"; }
    void write(const std::filesystem::path& relativePath, std::string_view content) const;
    [[nodiscard]] std::string read(const std::filesystem::path& relativePath) const;
    /// Replaces the first occurrence, which must be there.
    void replaceIn(const std::filesystem::path& relativePath, const std::string& text,
                   const std::string& replacement) const;

private:
    std::filesystem::path folder;
};

} // namespace Quarlen::Tests
