#include "platform/ErrorWindows.hpp"

namespace Quarlen::Platform {

void openNoErrorWindows() {
    // The system has none.
}

} // namespace Quarlen::Platform
