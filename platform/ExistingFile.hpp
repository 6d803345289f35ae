#pragma once

#include <filesystem>
#include <memory>
#include <string_view>

namespace Quarlen::Platform {

/// A file that was there before, open for writing and nothing else: who may not read it can still
/// write. Closed with its owner.
class ExistingFile {
public:
    /// Null when the file is missing or must not be written. Never creates it and leaves its
    /// content as it is.
    static std::unique_ptr<ExistingFile> open(const std::filesystem::path& file);

    ExistingFile() = default;
    ExistingFile(const ExistingFile&) = delete;
    ExistingFile& operator=(const ExistingFile&) = delete;
    virtual ~ExistingFile() = default;

    /// Leaves nothing of a longer content; a device, which cannot be shortened, just gets the
    /// bytes. Call it once. False when not all of them could be written.
    virtual bool replaceContent(std::string_view content) = 0;
};

} // namespace Quarlen::Platform
