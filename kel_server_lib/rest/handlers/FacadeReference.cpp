#include "kel_server_lib/rest/handlers/FacadeReference.hpp"

#include <mutex>

namespace Quarlen::Rest {

namespace {

struct Reference {
    std::mutex mutex;
    std::shared_ptr<Kel_cpp::KelApi> api;
    const void* owner = nullptr;
};

Reference& reference() {
    static Reference processWide;
    return processWide;
}

} // namespace

std::shared_ptr<Kel_cpp::KelApi> facade() {
    const std::lock_guard lock(reference().mutex);
    return reference().api;
}

// The former facade is released after the lock: its destructor may take time.

void setFacade(std::shared_ptr<Kel_cpp::KelApi> api, const void* owner) {
    const std::lock_guard lock(reference().mutex);
    reference().api.swap(api);
    reference().owner = owner;
}

void releaseFacade(const void* owner) {
    std::shared_ptr<Kel_cpp::KelApi> former;
    const std::lock_guard lock(reference().mutex);
    if (reference().owner == owner) {
        former.swap(reference().api);
    }
}

} // namespace Quarlen::Rest
