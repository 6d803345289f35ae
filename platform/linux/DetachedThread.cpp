#include "platform/DetachedThread.hpp"

#include <thread>
#include <utility>

namespace Quarlen::Platform {

void startDetachedThread(std::function<void()> work) {
    std::thread(std::move(work)).detach();
}

} // namespace Quarlen::Platform
