#pragma once

#include <string>

namespace Quarlen::Platform {

/// The path of one of the files with which the system shows a device's hardware ("/sys/..."). Empty
/// on Windows, which has no such files: the path would name an ordinary file of the current drive
/// there.
std::string deviceFile(const std::string& path);

} // namespace Quarlen::Platform
