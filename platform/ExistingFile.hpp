#pragma once

#include <filesystem>
#include <memory>
#include <string_view>

namespace Quarlen::Platform {

/// An existing file, open for writing only, so that a user who may not read it can still write it.
/// The destructor closes the file.
class ExistingFile {
public:
    /// Null when the file is missing or must not be written. Never creates the file and does not
    /// change its content.
    static std::unique_ptr<ExistingFile> open(const std::filesystem::path& file);

    ExistingFile() = default;
    ExistingFile(const ExistingFile&) = delete;
    ExistingFile& operator=(const ExistingFile&) = delete;
    virtual ~ExistingFile() = default;

    /// Removes the rest of a longer content; a device, which cannot be shortened, just gets the
    /// bytes. Call it once. False when not all bytes could be written.
    virtual bool replaceContent(std::string_view content) = 0;
};

} // namespace Quarlen::Platform
