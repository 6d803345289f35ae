#include "tests/platform/linux/KeyReaderBodies.hpp"

#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/KeyReader.hpp"

namespace Quarlen::Platform::Tests {

void show(std::string_view text) {
    if (::write(STDOUT_FILENO, text.data(), text.size()) < 0) {
        ::_exit(1);
    }
}

int showKeys() {
    const auto keys = Quarlen::Platform::openConsoleKeys();
    show("ready");
    while (const std::optional<int> key = keys->readKey()) {
        show("<" + std::to_string(*key) + ">");
        if (key == 'q') {
            return 0;
        }
    }
    return endOfInput;
}

bool endedWith(int status, int code) {
    return WIFEXITED(status) && WEXITSTATUS(status) == code;
}

} // namespace Quarlen::Platform::Tests
