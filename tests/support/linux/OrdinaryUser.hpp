#pragma once

#include <cerrno>
#include <system_error>
#include <unistd.h>

namespace Quarlen::Tests {

/// Gives up, as long as it lives, the rights of root, whom no file mode stops. Changes nothing for
/// anybody else.
class OrdinaryUser {
public:
    OrdinaryUser() : former(::geteuid()) {
        constexpr uid_t nobody = 65534;
        if (former == 0) {
            become(nobody);
        }
    }
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;
    ~OrdinaryUser() {
        if (former == 0) {
            become(former);
        }
    }

private:
    static void become(uid_t user) {
        if (::seteuid(user) != 0) {
            throw std::system_error(errno, std::generic_category(), "seteuid");
        }
    }

    uid_t former;
};

} // namespace Quarlen::Tests
