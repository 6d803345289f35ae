#include "platform/WindowsPathText.hpp"

#include <algorithm>
#include <vector>

namespace Quarlen::Platform {
namespace {

constexpr std::wstring_view extendedPrefix = L"\\\\?\\";
constexpr std::wstring_view devicePrefix = L"\\\\.\\";
constexpr std::wstring_view extendedSharePrefix = L"\\\\?\\UNC\\";
constexpr std::wstring_view sharePrefix = L"\\\\";

/// The texts hold backslashes alone.
struct PathParts {
    std::wstring_view root{};
    /// Whether what follows the root counts from its top.
    bool isRooted = false;
    std::wstring_view rest{};
};

bool isAsciiLetter(wchar_t letter) {
    return (letter >= L'a' && letter <= L'z') || (letter >= L'A' && letter <= L'Z');
}

wchar_t lowerAscii(wchar_t letter) {
    return letter >= L'A' && letter <= L'Z' ? static_cast<wchar_t>(letter - L'A' + L'a') : letter;
}

bool equalIgnoringAsciiCase(std::wstring_view left, std::wstring_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](wchar_t a, wchar_t b) { return lowerAscii(a) == lowerAscii(b); });
}

bool startsWithDrive(std::wstring_view path) {
    return path.size() >= 2 && isAsciiLetter(path[0]) && path[1] == L':';
}

std::wstring withBackslashes(std::wstring_view path) {
    std::wstring text(path);
    std::replace(text.begin(), text.end(), L'/', L'\\');
    return text;
}

/// Where the given number of names end that begin at the position.
std::size_t endOfNames(std::wstring_view path, std::size_t position, int count) {
    std::size_t end = std::min(path.find(L'\\', position), path.size());
    for (; count > 1 && end < path.size(); --count) {
        end = std::min(path.find(L'\\', end + 1), path.size());
    }
    return end;
}

std::size_t rootLength(std::wstring_view path) {
    if (path.starts_with(extendedSharePrefix)) {
        return endOfNames(path, extendedSharePrefix.size(), 2);
    }
    if (path.starts_with(extendedPrefix) || path.starts_with(devicePrefix)) {
        return endOfNames(path, extendedPrefix.size(), 1);
    }
    if (path.starts_with(sharePrefix) && path.size() > 2 && path[2] != L'\\') {
        return endOfNames(path, sharePrefix.size(), 2);
    }
    return startsWithDrive(path) ? 2 : 0;
}

bool isDrive(std::wstring_view root) {
    return root.size() == 2 && startsWithDrive(root);
}

PathParts partsOf(std::wstring_view path) {
    const std::size_t length = rootLength(path);
    PathParts parts{path.substr(0, length), false, path.substr(length)};
    parts.isRooted = parts.rest.starts_with(L'\\') || (length > 0 && !isDrive(parts.root));
    return parts;
}

void addName(std::vector<std::wstring_view>& names, std::wstring_view name, bool isRooted) {
    if (name.empty() || name == L".") {
        return;
    }
    const bool leadsUp = name == L"..";
    if (leadsUp && !names.empty() && names.back() != L"..") {
        names.pop_back();
    } else if (!leadsUp || !isRooted) {
        names.push_back(name);
    }
}

std::vector<std::wstring_view> namesOf(const PathParts& parts) {
    std::vector<std::wstring_view> names;
    for (std::size_t begin = 0; begin < parts.rest.size();) {
        const std::size_t end = std::min(parts.rest.find(L'\\', begin), parts.rest.size());
        addName(names, parts.rest.substr(begin, end - begin), parts.isRooted);
        begin = end + 1;
    }
    return names;
}

/// Whether the path says that it names a folder.
bool endsAsFolder(std::wstring_view rest) {
    return rest.ends_with(L'\\') || rest == L"." || rest == L".." || rest.ends_with(L"\\.") ||
           rest.ends_with(L"\\..");
}

std::wstring normalText(const PathParts& parts) {
    const std::vector<std::wstring_view> names = namesOf(parts);
    std::wstring text(parts.root);
    if (parts.isRooted && (!parts.rest.empty() || !names.empty())) {
        text += L'\\';
    }
    for (const std::wstring_view name : names) {
        text.append(name).append(1, L'\\');
    }
    const bool keepsSeparator = endsAsFolder(parts.rest) && !names.empty() && names.back() != L"..";
    if (!names.empty() && !keepsSeparator) {
        text.pop_back();
    }
    return text;
}

} // namespace

bool isAbsoluteWindowsPath(std::wstring_view path) {
    const std::wstring text = withBackslashes(path);
    const PathParts parts = partsOf(text);
    return !parts.root.empty() && parts.isRooted;
}

std::wstring normalWindowsPath(std::wstring_view path) {
    const std::wstring text = plainWindowsPath(withBackslashes(path));
    const std::wstring normal = text.starts_with(extendedPrefix) ? text : normalText(partsOf(text));
    return normal.empty() && !path.empty() ? L"." : normal;
}

std::wstring joinedWindowsPath(std::wstring_view folder, std::wstring_view name) {
    std::wstring added = withBackslashes(name);
    const PathParts part = partsOf(added);
    std::wstring text = withBackslashes(folder);
    const PathParts start = partsOf(text);
    if (!part.root.empty() && (part.isRooted || !equalIgnoringAsciiCase(part.root, start.root))) {
        return added;
    }
    if (part.isRooted) {
        return std::wstring(start.root) + std::wstring(part.rest);
    }
    const bool needsSeparator = !part.rest.empty() && !text.empty() && !text.ends_with(L'\\') &&
                                !(isDrive(start.root) && start.rest.empty());
    return text.append(needsSeparator ? L"\\" : L"").append(part.rest);
}

std::wstring extendedWindowsPath(std::wstring_view path) {
    std::wstring text = withBackslashes(path);
    if (text.starts_with(extendedPrefix) || text.starts_with(devicePrefix) ||
        !isAbsoluteWindowsPath(text)) {
        return text;
    }
    return text.starts_with(sharePrefix)
               ? std::wstring(extendedSharePrefix) + text.substr(sharePrefix.size())
               : std::wstring(extendedPrefix) + text;
}

std::wstring plainWindowsPath(std::wstring_view path) {
    const std::wstring_view shared = path.substr(0, extendedSharePrefix.size());
    if (equalIgnoringAsciiCase(shared, extendedSharePrefix)) {
        return std::wstring(sharePrefix).append(path.substr(extendedSharePrefix.size()));
    }
    if (path.starts_with(extendedPrefix) && startsWithDrive(path.substr(extendedPrefix.size())) &&
        path.substr(extendedPrefix.size() + 2).starts_with(L'\\')) {
        return std::wstring(path.substr(extendedPrefix.size()));
    }
    return std::wstring(path);
}

} // namespace Quarlen::Platform
