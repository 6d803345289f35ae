#include "platform/FileNames.hpp"

#include <algorithm>
#include <climits>

namespace Quarlen::Platform {

bool couldNameFile(const std::filesystem::path& path) {
    const std::filesystem::path name = path.filename();
    return !name.empty() && name != "." && name != ".." && path.native().size() < PATH_MAX &&
           path.native().find('\0') == std::string::npos &&
           std::all_of(path.begin(), path.end(), [](const std::filesystem::path& component) {
               return component.native().size() <= NAME_MAX;
           });
}

bool isTakenLiterally(const std::filesystem::path& /*path*/) {
    return true;
}

bool isSameFileName(const std::filesystem::path& left, const std::filesystem::path& right) {
    return left.native() == right.native();
}

} // namespace Quarlen::Platform
