#include "tests/support/FileAccess.hpp"

#include <array>
#include <cstddef>
#include <system_error>
#include <vector>
#include <windows.h>

namespace Quarlen::Tests {

namespace {

/// Room for one SID, aligned as the system wants it.
using Sid = std::array<std::max_align_t, SECURITY_MAX_SID_SIZE / sizeof(std::max_align_t) + 1>;

void check(bool succeeded, const char* operation) {
    if (!succeeded) {
        throw std::system_error(static_cast<int>(::GetLastError()), std::system_category(),
                                operation);
    }
}

Sid currentUser() {
    HANDLE token = nullptr;
    check(::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &token) != 0, "OpenProcessToken");
    std::array<std::max_align_t, 32> buffer{};
    DWORD size = sizeof(buffer);
    const bool known = ::GetTokenInformation(token, TokenUser, buffer.data(), size, &size) != 0;
    ::CloseHandle(token);
    check(known, "GetTokenInformation");
    Sid sid{};
    const auto* const user = reinterpret_cast<const TOKEN_USER*>(buffer.data());
    check(::CopySid(sizeof(sid), sid.data(), user->User.Sid) != 0, "CopySid");
    return sid;
}

Sid everyone() {
    Sid sid{};
    DWORD size = sizeof(sid);
    check(::CreateWellKnownSid(WinWorldSid, nullptr, sid.data(), &size) != 0, "CreateWellKnownSid");
    return sid;
}

/// Everybody else, and what the folder would say, is left out.
void allow(const std::filesystem::path& file, std::vector<Sid> who) {
    std::array<std::max_align_t, 64> buffer{};
    auto* const list = reinterpret_cast<ACL*>(buffer.data());
    check(::InitializeAcl(list, sizeof(buffer), ACL_REVISION) != 0, "InitializeAcl");
    for (Sid& each : who) {
        check(::AddAccessAllowedAce(list, ACL_REVISION, FILE_ALL_ACCESS, each.data()) != 0,
              "AddAccessAllowedAce");
    }
    SECURITY_DESCRIPTOR descriptor{};
    check(::InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION) != 0 &&
              ::SetSecurityDescriptorDacl(&descriptor, TRUE, list, FALSE) != 0 &&
              ::SetSecurityDescriptorControl(&descriptor, SE_DACL_PROTECTED, SE_DACL_PROTECTED) !=
                  0,
          "making a security descriptor");
    check(::SetFileSecurityW(file.c_str(), DACL_SECURITY_INFORMATION, &descriptor) != 0,
          "SetFileSecurity");
}

} // namespace

void makePrivate(const std::filesystem::path& file) {
    allow(file, {currentUser()});
}

void makeReadableByAll(const std::filesystem::path& file) {
    allow(file, {currentUser(), everyone()});
}

} // namespace Quarlen::Tests
