#include "platform/PrivateFile.hpp"

#include <array>
#include <cstddef>
#include <memory>
#include <system_error>
#include <windows.h>

#include "platform/windows/ExtendedPath.hpp"

namespace Quarlen::Platform {

namespace {

struct CloseHandle {
    void operator()(void* handle) const noexcept { ::CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, CloseHandle>;

/// Room for one SID, aligned as the system wants it.
using Sid = std::array<std::max_align_t, SECURITY_MAX_SID_SIZE / sizeof(std::max_align_t) + 1>;

void check(bool succeeded) {
    if (!succeeded) {
        throw std::system_error(static_cast<int>(::GetLastError()), std::system_category());
    }
}

Sid currentUser() {
    HANDLE opened = nullptr;
    check(::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &opened) != 0);
    const Handle token(opened);
    std::array<std::max_align_t, 32> buffer{};
    DWORD size = sizeof(buffer);
    check(::GetTokenInformation(token.get(), TokenUser, buffer.data(), size, &size) != 0);
    Sid sid{};
    const auto* const user = reinterpret_cast<const TOKEN_USER*>(buffer.data());
    check(::CopySid(sizeof(sid), sid.data(), user->User.Sid) != 0);
    return sid;
}

Sid wellKnown(WELL_KNOWN_SID_TYPE type) {
    Sid sid{};
    DWORD size = sizeof(sid);
    check(::CreateWellKnownSid(type, nullptr, sid.data(), &size) != 0);
    return sid;
}

/// Lets in the user and who administers the system, the service's own account included, and nobody
/// whom the folder would let in.
class PrivateAccess {
public:
    PrivateAccess() {
        auto* const entries = reinterpret_cast<ACL*>(list.data());
        check(::InitializeAcl(entries, sizeof(list), ACL_REVISION) != 0);
        for (Sid& who : allowed) {
            check(::AddAccessAllowedAce(entries, ACL_REVISION, FILE_ALL_ACCESS, who.data()) != 0);
        }
        check(::InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION) != 0 &&
              ::SetSecurityDescriptorDacl(&descriptor, TRUE, entries, FALSE) != 0 &&
              ::SetSecurityDescriptorControl(&descriptor, SE_DACL_PROTECTED, SE_DACL_PROTECTED) !=
                  0);
    }
    PrivateAccess(const PrivateAccess&) = delete;
    PrivateAccess& operator=(const PrivateAccess&) = delete;

    [[nodiscard]] SECURITY_ATTRIBUTES attributes() {
        return {sizeof(SECURITY_ATTRIBUTES), &descriptor, FALSE};
    }
    void setOn(const std::filesystem::path& file) {
        check(::SetFileSecurityW(extendedPath(file).c_str(), DACL_SECURITY_INFORMATION,
                                 &descriptor) != 0);
    }

private:
    std::array<Sid, 3> allowed{currentUser(), wellKnown(WinLocalSystemSid),
                               wellKnown(WinBuiltinAdministratorsSid)};
    std::array<std::max_align_t, 64> list{};
    SECURITY_DESCRIPTOR descriptor{};
};

} // namespace

void appendPrivately(const std::filesystem::path& file, std::string_view content) {
    PrivateAccess access;
    SECURITY_ATTRIBUTES attributes = access.attributes();
    HANDLE const opened =
        ::CreateFileW(extendedPath(file).c_str(), FILE_APPEND_DATA, FILE_SHARE_READ, &attributes,
                      OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    check(opened != INVALID_HANDLE_VALUE);
    const Handle closed(opened);
    access.setOn(file);
    DWORD written = 0;
    check(::WriteFile(opened, content.data(), static_cast<DWORD>(content.size()), &written,
                      nullptr) != 0 &&
          ::FlushFileBuffers(opened) != 0);
}

} // namespace Quarlen::Platform
