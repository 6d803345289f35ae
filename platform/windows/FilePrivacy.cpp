#include "platform/FilePrivacy.hpp"

#include <algorithm>
#include <exception>
#include <initializer_list>
#include <memory>
#include <string>

// The second header needs the first.
// clang-format off
#include <windows.h>
#include <aclapi.h>
// clang-format on

#include "platform/windows/ExtendedPath.hpp"

namespace Quarlen::Platform {

namespace {

struct FreeLocal {
    void operator()(void* memory) const noexcept { ::LocalFree(memory); }
};

bool isOneOf(PSID who, std::initializer_list<WELL_KNOWN_SID_TYPE> known) noexcept {
    return std::any_of(known.begin(), known.end(), [who](WELL_KNOWN_SID_TYPE type) {
        return ::IsWellKnownSid(who, type) != 0;
    });
}

/// Whether the entry lets somebody read who is neither the owner nor administers the system.
bool letsOthersRead(ACCESS_ALLOWED_ACE& entry, PSID owner) noexcept {
    constexpr ACCESS_MASK reading = FILE_READ_DATA | GENERIC_READ | GENERIC_ALL;
    PSID const who = &entry.SidStart;
    return entry.Header.AceType == ACCESS_ALLOWED_ACE_TYPE && (entry.Mask & reading) != 0 &&
           ::EqualSid(who, owner) == 0 &&
           !isOneOf(who,
                    {WinLocalSystemSid, WinBuiltinAdministratorsSid, WinCreatorOwnerRightsSid});
}

} // namespace

bool isPrivate(const std::filesystem::path& file) noexcept {
    std::wstring name;
    try {
        name = extendedPath(file);
    } catch (const std::exception&) {
        return false;
    }
    ACL* list = nullptr;
    PSID owner = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    constexpr SECURITY_INFORMATION wanted = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
    if (::GetNamedSecurityInfoW(name.c_str(), SE_FILE_OBJECT, wanted, &owner, nullptr, &list,
                                nullptr, &descriptor) != ERROR_SUCCESS) {
        return false;
    }
    const std::unique_ptr<void, FreeLocal> freed(descriptor);
    // Without a list everybody may do everything.
    for (DWORD index = 0; list != nullptr && index < list->AceCount; ++index) {
        void* entry = nullptr;
        if (::GetAce(list, index, &entry) == 0 ||
            letsOthersRead(*static_cast<ACCESS_ALLOWED_ACE*>(entry), owner)) {
            return false;
        }
    }
    return list != nullptr;
}

} // namespace Quarlen::Platform
