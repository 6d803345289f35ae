#include "kel_server_lib/rest/FacadeReference.hpp"

#include <mutex>
#include <utility>

namespace Quarlen::Rest {

namespace {

struct Reference {
    std::mutex mutex;
    std::shared_ptr<Kel_cpp::KelApi> api;
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

void setFacade(std::shared_ptr<Kel_cpp::KelApi> api) {
    // The former facade goes with the argument, after the lock: its destructor may take its time.
    {
        const std::lock_guard lock(reference().mutex);
        reference().api.swap(api);
    }
}

} // namespace Quarlen::Rest
