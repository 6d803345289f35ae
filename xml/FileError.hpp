#pragma once

#include <exception>
#include <string>
#include <utility>

namespace Xml {

/// A fault in a file as a complete message: "file:line:column: cause" or "file: cause".
class FileError : public std::exception {
public:
    explicit FileError(std::wstring message) : text(std::move(message)) {}

    [[nodiscard]] const std::wstring& message() const noexcept { return text; }
    [[nodiscard]] const char* what() const noexcept override { return "Xml::FileError"; }

private:
    std::wstring text;
};

} // namespace Xml
