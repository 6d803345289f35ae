#include "platform/windows/FileReplacement.hpp"

#include <windows.h>

#include "platform/windows/ExtendedPath.hpp"

namespace Quarlen::Platform {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::milliseconds betweenAttempts{1};

WindowsError resultOf(BOOL succeeded) {
    return succeeded != FALSE ? ERROR_SUCCESS : ::GetLastError();
}

/// What a file that is open without leave to replace it is answered with: the source by the first
/// two, the target by the others as well, one that was removed and is still open by the last.
bool isInUse(WindowsError failure) {
    return failure == ERROR_SHARING_VIOLATION || failure == ERROR_LOCK_VIOLATION ||
           failure == ERROR_ACCESS_DENIED || failure == ERROR_USER_MAPPED_FILE ||
           failure == ERROR_DELETE_PENDING;
}

} // namespace

WindowsError repeatWhileInUse(const std::function<WindowsError()>& attempt, Clock& clock) {
    const auto end = clock.now() + maxReplacementTime;
    WindowsError failure = attempt();
    while (isInUse(failure) && clock.now() < end) {
        clock.sleepFor(betweenAttempts);
        failure = attempt();
    }
    return failure;
}

ReplacementCalls systemReplacementCalls() {
    return {[](const fs::path& file, const fs::path& target) {
                return resultOf(::MoveFileExW(extendedPath(file).c_str(),
                                              extendedPath(target).c_str(),
                                              MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH));
            },
            [](const fs::path& file) { return ::GetFileAttributesW(extendedPath(file).c_str()); }};
}

WindowsError refusalOf(const fs::path& target, const ReplacementCalls& calls) {
    const std::uint32_t attributes = calls.attributes(target);
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        return ERROR_SUCCESS;
    }
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        return ERROR_ALREADY_EXISTS;
    }
    return (attributes & FILE_ATTRIBUTE_READONLY) != 0 ? ERROR_ACCESS_DENIED : ERROR_SUCCESS;
}

WindowsError moveFileOver(const fs::path& file, const fs::path& target, Clock& clock,
                          const ReplacementCalls& calls) {
    const WindowsError refusal = refusalOf(target, calls);
    return refusal != ERROR_SUCCESS
               ? refusal
               : repeatWhileInUse([&] { return calls.move(file, target); }, clock);
}

} // namespace Quarlen::Platform
