#include "tools/kelctl/base/TemporaryFolder.hpp"

#include <system_error>

#include "platform/Paths.hpp"
#include "platform/PrivateFolder.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "tools/kelctl/base/Failure.hpp"

namespace Quarlen::Ctl {

std::filesystem::path newTemporaryFolder(const std::string& prefix) {
    try {
        // Absolute also where TMPDIR is not: the paths in it are told to people.
        const auto parent = Platform::absolutePath(std::filesystem::temp_directory_path());
        return Platform::makePrivateFolder(Platform::normalPath(parent), prefix);
    } catch (const std::system_error& error) {
        throw Failure(ExitCode::Refused, "cannot make a folder in the one for temporary files: " +
                                             Platform::toUtf8(Platform::errorText(error.code())));
    }
}

} // namespace Quarlen::Ctl
