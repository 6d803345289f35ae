#pragma once

#include <filesystem>
#include <string>

namespace StdUtil {

/// A path as the program's own text.
class PathString {
public:
    PathString() = default;
    // NOLINTBEGIN(google-explicit-constructor): for all who call this library a path is a text
    PathString(std::wstring text);
    PathString(const wchar_t* text);
    // NOLINTEND(google-explicit-constructor)
    explicit PathString(const std::filesystem::path& path);

    /// Joins a component with the platform's separator. A component that is absolute replaces
    /// what is there; an empty one changes nothing.
    PathString& append(const PathString& component);

    [[nodiscard]] const std::wstring& wstr() const noexcept { return text; }
    [[nodiscard]] std::filesystem::path path() const;
    [[nodiscard]] bool empty() const noexcept { return text.empty(); }

    friend bool operator==(const PathString&, const PathString&) = default;

private:
    std::wstring text;
};

} // namespace StdUtil
