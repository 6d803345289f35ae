#include "platform/StandardStreams.hpp"

#include <fcntl.h>
#include <initializer_list>
#include <unistd.h>

namespace Quarlen::Platform {

void openMissingStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) < 0) {
            // Opening gives the lowest free number, which is this stream.
            // NOLINTNEXTLINE(android-cloexec-open): programs that are started inherit these streams
            static_cast<void>(::open("/dev/null", O_RDWR));
        }
    }
}

} // namespace Quarlen::Platform
