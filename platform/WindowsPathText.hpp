#pragma once

#include <string>
#include <string_view>

namespace Quarlen::Platform {

/// What a Windows path says, by its text alone, on every system. The standard library that the
/// program is built with for Windows takes `\\server\share\x` for a path of the current drive.
///
/// A path begins with one of: a drive `C:\`, a share `\\server\share\`, a device or a volume
/// `\\.\name\` or `\\?\name\`, `\` (of the current drive), `C:` (the drive's current folder), or
/// nothing. Both slashes separate; results have backslashes alone.

/// True when neither the current folder nor the current drive plays a part.
bool isAbsoluteWindowsPath(std::wstring_view path);

/// Without "." and "..", as far as the text tells. What begins the path stays, and ".." does not
/// lead out of it. `\\?\C:\x` becomes `C:\x` and `\\?\UNC\server\share` becomes `\\server\share`;
/// other texts after `\\?\` are left alone.
std::wstring normalWindowsPath(std::wstring_view path);

/// `name` as seen from `folder`: an absolute name stands for itself, one that begins with `\` is of
/// the folder's drive or share, and so is one that names the folder's drive.
std::wstring joinedWindowsPath(std::wstring_view folder, std::wstring_view name);

/// The spelling that the system takes at every length: `\\?\C:\x` for `C:\x`,
/// `\\?\UNC\server\share\x` for `\\server\share\x`. The path must be absolute and normal; another
/// one, and one that begins with `\\?\` or `\\.\`, is left alone.
std::wstring extendedWindowsPath(std::wstring_view path);

/// The reverse; what has no other spelling than the extended one is left alone.
std::wstring plainWindowsPath(std::wstring_view path);

} // namespace Quarlen::Platform
