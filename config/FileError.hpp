#pragma once

#include <cstddef>
#include <exception>
#include <string>
#include <utility>

namespace Config {

/// A fault in a file's text. Stays inside the library: `ConfigBase` turns it into its error text.
class FileError : public std::exception {
public:
    /// `offset` counts the bytes of the file's text in UTF-8.
    FileError(std::size_t offset, std::wstring cause)
        : byteOffset(offset), causeText(std::move(cause)) {}

    [[nodiscard]] std::size_t offset() const noexcept { return byteOffset; }
    [[nodiscard]] const std::wstring& cause() const noexcept { return causeText; }
    [[nodiscard]] const char* what() const noexcept override { return "FileError"; }

private:
    std::size_t byteOffset;
    std::wstring causeText;
};

} // namespace Config
